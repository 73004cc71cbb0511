#include "mail/SearchCriteria.h"
#include "mail/StatusTexts.h"

#include <gtest/gtest.h>

using namespace Kerf;
using namespace Kerf::QuireLib;

// Singular and plural, hours without seconds, the percentage truncated.
TEST(StatusTexts, Wording) {
    using namespace StatusTexts;
    const std::pair<std::wstring, const wchar_t*> cases[] = {
        {elapsedTime(0), L"less than 1 second"},
        {elapsedTime(1), L"1 second"},
        {elapsedTime(59), L"59 seconds"},
        {elapsedTime(60), L"1 minute 0 seconds"},
        {elapsedTime(61), L"1 minute 1 second"},
        {elapsedTime(3600), L"1 hour 0 minutes."},
        {elapsedTime(3661), L"1 hour 1 minute."},
        {elapsedTime(7322), L"2 hours 2 minutes."},
        {matchesFound(12, 61), L"12 matches found in 1 minute 1 second"},
        {matchesFound(1, 0), L"1 match found in less than 1 second"},
        {stoppedEarly(1, 1, 0),
         L"Stopped: 1 match in the 1 message searched so far; 0 not yet searched"},
        {searchProgress(1, 1, 1), L"1 match in 1 message from 1 directory. Searching..."},
        {searchProgress(20, 2, 0), L"20 matches in 2 messages from 0 directories. Searching..."},
        // 3,600 s for 100 items is 36 s an item; 50 left is 30 minutes.
        {remainingTime(3600, 100, 50), L"30 minutes, 0 seconds"},
        {remainingTime(61, 1, 1), L"1 minute, 1 second"},
        {remainingTime(3600, 1, 1), L"1 hour, 0 minutes"},
        {remainingTime(10, 10, 1), L"1 second"},
        {remainingTime(0, 0, 500), L"0 seconds"},
        {indexingProgress(30, 10, L"5 seconds"),
         L"Indexed:30    Remaining:10    (75% Complete: 5 seconds remaining)"},
        {indexingProgress(0, 0, L"0 seconds"),
         L"Indexed:0    Remaining:0    (0% Complete: 0 seconds remaining)"},
        {indexingProgress(2, 1, L"x"), L"Indexed:2    Remaining:1    (66% Complete: x remaining)"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(text, expected);
    // Search progress shows on every tenth match, and always once the search ends.
    EXPECT_FALSE(shouldShowSearchProgress(9, false));
    EXPECT_TRUE(shouldShowSearchProgress(10, false));
    EXPECT_FALSE(shouldShowSearchProgress(11, false));
    EXPECT_TRUE(shouldShowSearchProgress(7, true));
}

TEST(StatusTexts, CountsAreGroupedAsTheLocaleSays) {
    const struct {
        std::size_t n;
        const wchar_t* separator;
        const char* grouping;
        const wchar_t* text;
    } cases[] = {
        {8000, L",", "\3", L"8,000"},
        {999, L",", "\3", L"999"},
        {1234567, L".", "\3", L"1.234.567"},
        {1234567, L"\u202f", "\3", L"1\u202f234\u202f567"},
        {12345678, L",", "\3\2", L"1,23,45,678"}, // Indian grouping
        {1234567, L",", "\3\x7f", L"1234,567"},   // CHAR_MAX: no more groups
        {1234567, L"", "\3", L"1234567"},         // C locale: no separator
        {1234567, L",", "", L"1234567"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(StatusTexts::groupDigits(c.n, c.separator, c.grouping), c.text) << c.n;
}

TEST(SearchCriteria, DatesAreWidenedToExcludeTheChosenDays) {
    SearchCriteria c;
    c.m_dtSentAfter = DateTime{2024, 5, 3, 10, 11, 12};
    c.m_dtSentBefore = DateTime{2024, 5, 9, 18, 0, 0};
    c.adjustDatesForSearch();
    EXPECT_EQ(c.m_dtSentAfter, (DateTime{2024, 5, 3, 23, 59, 59}));
    EXPECT_EQ(c.m_dtSentBefore, (DateTime{2024, 5, 9, 0, 0, 1}));

    SearchCriteria bad;
    bad.m_dtSentAfter = DateTime{2024, 2, 30, 10, 0, 0};
    bad.adjustDatesForSearch();
    EXPECT_EQ(bad.m_dtSentAfter, (DateTime{2024, 2, 30, 10, 0, 0}));
}
