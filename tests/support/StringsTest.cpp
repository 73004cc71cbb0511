#include "support/Strings.h"

#include <gtest/gtest.h>

#include <set>

using namespace Kerf;
using namespace Kerf::Util;

TEST(TrailDirectorySlash, AddsOneSeparatorOnlyWhenMissing) {
    EXPECT_EQ(TrailDirectorySlash(L"/srv/mail"), L"/srv/mail/");
    EXPECT_EQ(TrailDirectorySlash(L"/srv/mail/"), L"/srv/mail/");
    EXPECT_EQ(TrailDirectorySlash(L""), L"/");
}

TEST(CStringIless, FoldsNonAsciiLettersSoPathsInOtherCaseAreOne) {
    std::set<std::wstring, CString_iless> paths;
    paths.insert(L"/Mail/ÄRGER/Invoice.msg");
    EXPECT_FALSE(paths.insert(L"/mail/ärger/invoice.MSG").second);
    EXPECT_TRUE(paths.insert(L"/mail/ärger/invoice2.msg").second);
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
    EXPECT_EQ(wide.substr(0, 3), L"caf");
    EXPECT_EQ(toWide("\xC3\xA9t\xC3\xA9"), L"été");
    EXPECT_EQ(toNarrow(L"日本語"), "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E");
    // An overlong encoding of "/" must not turn into a separator.
    EXPECT_EQ(toWide("\xC0\xAF").find(L'/'), std::wstring::npos);
}
