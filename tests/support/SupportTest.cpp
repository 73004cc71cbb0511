// The small helpers every folder uses: wide and narrow text, dates in the
// OLE, index and local forms, the per-user data folder, and the trace log.

#include "support/Assert.h"
#include "support/DateTime.h"
#include "support/Paths.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include "TempDir.h"

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

using namespace Kerf;
using namespace Kerf::Dates;
using namespace Kerf::Util;

TEST(TrailDirectorySlash, AddsOneSeparatorOnlyWhenMissing) {
    EXPECT_EQ(TrailDirectorySlash(L"/srv/mail"), L"/srv/mail/");
    EXPECT_EQ(TrailDirectorySlash(L"/srv/mail/"), L"/srv/mail/");
    EXPECT_EQ(TrailDirectorySlash(L""), L"/");
}

TEST(CompareNoCase, FoldsNonAsciiLetters) {
    EXPECT_EQ(compareNoCase(L"/Mail/ÄRGER/Invoice.msg", L"/mail/ärger/invoice.MSG"), 0);
    EXPECT_EQ(compareNoCase(L"ΣΟΦΙΑ", L"σοφια"), 0);
    EXPECT_LT(compareNoCase(L"abc", L"ABD"), 0);
    EXPECT_LT(compareNoCase(L"ab", L"AB c"), 0);
    EXPECT_GT(compareNoCase(L"b", L"A"), 0);
}

TEST(SplitTokens, RunsOfSeparatorsGiveNoEmptyPieces) {
    EXPECT_EQ(splitTokens(L"  alpha   beta gamma  "),
              (std::vector<std::wstring>{L"alpha", L"beta", L"gamma"}));
    EXPECT_TRUE(splitTokens(L"").empty());
    EXPECT_TRUE(splitTokens(L"    ").empty());
    EXPECT_EQ(splitTokens(L"a,,b;c", L",;"), (std::vector<std::wstring>{L"a", L"b", L"c"}));
}

TEST(WideNarrow, BytesThatAreNotUtf8SurviveTheRoundTrip) {
    const std::string raw = std::string("caf\xE9 \xFF\xFE.msg") + "\xC3\xA9" + "\xE2\x82";
    const std::wstring wide = toWide(raw);
    EXPECT_EQ(toNarrow(wide), raw);
    EXPECT_EQ(toWide("\xC3\xA9t\xC3\xA9"), L"été");
    EXPECT_EQ(toNarrow(L"日本語"), "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E");
    // An overlong encoding of "/" must not turn into a separator.
    EXPECT_EQ(toWide("\xC0\xAF").find(L'/'), std::wstring::npos);
}

TEST(OleDates, DaysCountFromTheThirtiethOfDecember1899AndRoundTripToTheSecond) {
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
    // Both forms keep every date to the second, across the whole range.
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

// Fourteen digits, the year padded with zeros, order as the dates do.
TEST(IndexText, IsFourteenDigitsInDateOrderAndRejectsMalformedText) {
    EXPECT_EQ(toIndexText(DateTime{1899, 12, 30, 0, 0, 0}), "18991230000000");
    EXPECT_EQ(toIndexText(DateTime{812, 3, 4, 5, 6, 7}), "08120304050607");
    for (const char* malformed : {"2013111809262", "2013111809262x", "20130230000000", ""})
        EXPECT_THROW(fromIndexText(malformed), std::invalid_argument) << malformed;
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

TEST(Paths, DataHomeIsNeverAFolderSharedWithOtherUsers) {
    const passwd* account = ::getpwuid(::getuid());
    ASSERT_NE(account, nullptr);
    const std::string accountHome = std::string(account->pw_dir) + "/.local/share";
    const struct {
        const char* xdg;
        const char* home;
        std::string expected;
    } cases[] = {
        {"/data/x", "/home/u", "/data/x"},
        // A relative XDG_DATA_HOME is to be ignored.
        {"rel/x", "/home/u", "/home/u/.local/share"},
        {nullptr, "/home/u", "/home/u/.local/share"},
        // Without a usable HOME: the account's home, never /tmp.
        {nullptr, nullptr, accountHome},
        {nullptr, "", accountHome},
        {"", "relative", accountHome},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.xdg ? c.xdg : "(unset)") + " " + (c.home ? c.home : "(unset)"));
        QoTest::ScopedVariable xdg("XDG_DATA_HOME", c.xdg);
        QoTest::ScopedVariable home("HOME", c.home);
        EXPECT_EQ(Util::toNarrow(Paths::dataHome()), c.expected);
    }
}

TEST(Trace, OffUnlessSwitchedOnAndThenWritesToTheUsersDataFolder) {
    QoTest::TempDir dir;
    QoTest::ScopedUserFolders folders(dir.path());

    unsetenv("QOSEARCH_TRACE");
    Trace::reinitialise();
    EXPECT_FALSE(Trace::isOn());
    KERF_TRACE_ENTRY("Quiet::function");
    EXPECT_EQ(Trace::traceFilePath(), "");

    setenv("QOSEARCH_TRACE", "1", 1);
    Trace::reinitialise();
    ASSERT_TRUE(Trace::isOn());
    const std::string path = Trace::traceFilePath();
    EXPECT_EQ(path,
              (dir.path() / "data" / QoTest::kVendor / QoTest::kProduct / "trace.log").string());

    KERF_TRACE_ENTRY("Kerf::Search::Writer::create");
    const unsigned before = failedAssertionCount();
    const int line = __LINE__ + 1;
    KERF_ASSERT(1 + 1 == 3);
    EXPECT_EQ(failedAssertionCount(), before + 1);

    unsetenv("QOSEARCH_TRACE");
    Trace::reinitialise();
    const std::string log = QoTest::readFile(path);
    EXPECT_NE(log.find("Kerf::Search::Writer::create()"), std::string::npos) << log;
    EXPECT_NE(log.find("SupportTest.cpp(" + std::to_string(line) + "): 1 + 1 == 3"),
              std::string::npos)
        << log;
    EXPECT_EQ(log.find("Quiet::function"), std::string::npos);
}
