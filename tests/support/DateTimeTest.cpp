#include "support/DateTime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

using namespace Kerf;
using namespace Kerf::Dates;

namespace {
class ScopedTimeZone {
public:
    explicit ScopedTimeZone(const char* zone) {
        const char* old = std::getenv("TZ");
        m_had = old != nullptr;
        m_old = old ? old : "";
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ScopedTimeZone() {
        if (m_had)
            setenv("TZ", m_old.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

private:
    bool m_had;
    std::string m_old;
};
} // namespace

TEST(OleDates, ZeroIsThirtiethOfDecember1899) {
    EXPECT_EQ(fromOleDate(0.0), (DateTime{1899, 12, 30, 0, 0, 0}));
    EXPECT_EQ(toOleDate(DateTime{1899, 12, 30, 0, 0, 0}), 0.0);
}

TEST(OleDates, NegativeDayCountsKeepTheTimeRunningForward) {
    // -1.25 is 29 December 1899 at 06:00, not 18:00.
    EXPECT_EQ(fromOleDate(-1.25), (DateTime{1899, 12, 29, 6, 0, 0}));
    EXPECT_DOUBLE_EQ(toOleDate(DateTime{1899, 12, 29, 6, 0, 0}), -1.25);
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
    // 2013-11-18 09:26:24 is 41596.393333...
    EXPECT_EQ(fromOleDate(41596.39333333333), (DateTime{2013, 11, 18, 9, 26, 24}));
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
    ScopedTimeZone zone("Europe/Berlin");
    // 2013-11-18 08:26:24 UTC is 09:26:24 in Berlin (winter time).
    const std::uint64_t fileTime = (1384763184ULL + 11644473600ULL) * 10000000ULL;
    EXPECT_EQ(fromOleDate(oleDateFromFileTime(fileTime)), (DateTime{2013, 11, 18, 9, 26, 24}));
    // Summer time is two hours ahead.
    EXPECT_EQ(fromUnixLocal(1719835200), (DateTime{2024, 7, 1, 14, 0, 0}));
    for (std::int64_t t : {-2208988800LL, -1LL, 0LL, 2147483648LL, 4102444800LL, 253402300799LL})
        EXPECT_EQ(toUnixLocal(fromUnixLocal(t)), t) << t;
}
