#include "support/DateTime.h"

#include "TempDir.h"

#include <gtest/gtest.h>

#include <ctime>

using namespace Kerf;
using namespace Kerf::Dates;

TEST(OleDates, DaysCountFromTheThirtiethOfDecember1899WithTheTimeRunningForward) {
    const struct {
        double ole;
        DateTime dt;
    } cases[] = {
        {0.0, {1899, 12, 30, 0, 0, 0}},
        {-1.25, {1899, 12, 29, 6, 0, 0}}, // not 18:00
        {41596.39333333333, {2013, 11, 18, 9, 26, 24}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(fromOleDate(c.ole), c.dt) << c.ole;
        EXPECT_NEAR(toOleDate(c.dt), c.ole, 1e-9) << c.ole;
    }
}

TEST(OleDates, RoundTripToTheSecondAcrossTheWholeRange) {
    const DateTime samples[] = {{100, 1, 1, 0, 0, 0},       {1601, 1, 1, 0, 0, 1},
                                {1899, 12, 29, 23, 59, 59}, {1900, 2, 28, 12, 30, 45},
                                {1969, 12, 31, 23, 59, 59}, {1970, 1, 1, 0, 0, 0},
                                {2000, 2, 29, 8, 15, 0},    {2038, 1, 19, 3, 14, 8},
                                {2106, 2, 7, 6, 28, 16},    {9999, 12, 31, 23, 59, 59}};
    for (const auto& dt : samples) {
        EXPECT_EQ(fromOleDate(toOleDate(dt)), dt) << toIndexText(dt);
        EXPECT_EQ(fromIndexText(toIndexText(dt)), dt) << toIndexText(dt);
    }
}

TEST(IndexText, OrdersAsTheDatesDoAndRejectsMalformedText) {
    EXPECT_EQ(toIndexText(DateTime{1899, 12, 30, 0, 0, 0}), "18991230000000");
    EXPECT_EQ(toIndexText(DateTime{812, 3, 4, 5, 6, 7}), "08120304050607");
    EXPECT_LT(toIndexText(DateTime{999, 12, 31, 23, 59, 59}),
              toIndexText(DateTime{1000, 1, 1, 0, 0, 0}));
    EXPECT_LT(toIndexText(DateTime{2038, 1, 19, 3, 14, 8}),
              toIndexText(DateTime{2038, 1, 19, 3, 14, 9}));
    EXPECT_THROW(fromIndexText("2013111809262"), std::invalid_argument);
    EXPECT_THROW(fromIndexText("2013111809262x"), std::invalid_argument);
    EXPECT_THROW(fromIndexText("20130230000000"), std::invalid_argument);
    EXPECT_THROW(fromIndexText(""), std::invalid_argument);
}

TEST(LocalTime, FileTimesBecomeLocalWallClockInAZoneWithAnOffset) {
    const QoTest::ScopedVariable zone("TZ", "Europe/Berlin");
    tzset();
    // 2013-11-18 08:26:24 UTC is 09:26:24 in Berlin (winter time).
    const std::uint64_t fileTime = (1384763184ULL + 11644473600ULL) * 10000000ULL;
    EXPECT_EQ(fromOleDate(oleDateFromFileTime(fileTime)), (DateTime{2013, 11, 18, 9, 26, 24}));
    // Summer time is two hours ahead.
    EXPECT_EQ(fromUnixLocal(1719835200), (DateTime{2024, 7, 1, 14, 0, 0}));
    for (std::int64_t t : {-2208988800LL, -1LL, 0LL, 2147483648LL, 4102444800LL, 253402300799LL})
        EXPECT_EQ(toUnixLocal(fromUnixLocal(t)), t) << t;
}
