// What the search shows: the status texts, the words of a message the
// search marks, and the lines of the sender and recipients.

#include "mail/PeopleText.h"
#include "mail/SearchCriteria.h"
#include "mail/SearchWords.h"
#include "mail/StatusTexts.h"

#include <gtest/gtest.h>

using namespace Kerf;
using namespace Kerf::QuireLib;
using C = SearchCriteria;

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
    SearchCriteria c, bad;
    c.m_dtSentAfter = DateTime{2024, 5, 3, 10, 11, 12};
    c.m_dtSentBefore = DateTime{2024, 5, 9, 18, 0, 0};
    bad.m_dtSentAfter = DateTime{2024, 2, 30, 10, 0, 0};
    c.adjustDatesForSearch();
    bad.adjustDatesForSearch();
    EXPECT_EQ(c.m_dtSentAfter, (DateTime{2024, 5, 3, 23, 59, 59}));
    EXPECT_EQ(c.m_dtSentBefore, (DateTime{2024, 5, 9, 0, 0, 1}));
    EXPECT_EQ(bad.m_dtSentAfter, (DateTime{2024, 2, 30, 10, 0, 0}));
}

namespace {

C criteria(std::initializer_list<std::pair<std::wstring C::*, std::wstring>> fields) {
    C c;
    for (const auto& [field, value] : fields)
        c.*field = value;
    return c;
}

// The matched words of the text, as they stand in it.
std::vector<std::wstring> matched(const std::wstring& text, const SearchCriteria& c) {
    std::vector<std::wstring> words;
    for (const TextSpan& span : matchingSpans(text, searchWords(c)))
        words.push_back(text.substr(span.start, span.length));
    return words;
}

} // namespace

TEST(SearchWords, MatchWholeWordsWithoutCaseOrAccentsAsTheSearchMeantThem) {
    struct Case {
        const char* what;
        SearchCriteria search;
        std::wstring text;
        std::vector<std::wstring> expected;
    };
    const std::vector<Case> cases{
        {"a criteria word is a prefix: the whole word it begins matches",
         criteria({{&C::m_sSubject, L"vote"}}),
         L"3 vote items: voteYes, devote",
         {L"vote", L"voteYes"}},
        {"every criteria field counts, each of its words",
         criteria({{&C::m_sBody, L"quick fox"}, {&C::m_sFrom, L"ann"}}),
         L"Annie's quick brown fox, foxes",
         {L"Annie", L"quick", L"fox", L"foxes"}},
        {"case and accents are ignored on both sides",
         criteria({{&C::m_sSubject, L"OAU"}}),
         L"Subject öäü Subject",
         {L"öäü"}},
        {"a combining accent belongs to its word",
         criteria({{&C::m_sBody, L"cafe"}}),
         L"un cafe\u0301 noir",
         {L"cafe\u0301"}},
        {"an address matches in its parts, and whole",
         criteria({{&C::m_sFrom, L"smith example.com ann.smith@ex"}}),
         L"Ann Smith <ann.smith@example.com>",
         {L"Smith", L"ann.smith@example.com"}},
        {"Chinese and Japanese words are pairs of characters",
         criteria({{&C::m_sSubject, L"本 東京都"}}),
         L"日本語 東京都庁 京都 東京",
         {L"本語", L"東京都"}},
        {"a quoted phrase matches its words in a row, marked whole",
         criteria({{&C::m_sSubject, L"\"sujet bien\""}}),
         L"bien sujet, sujet Bien",
         {L"sujet Bien"}},
        {"keywords are whole words and replace the criteria",
         criteria({{&C::m_sSubject, L"items"}, {&C::m_sKeywords, L"vote"}}),
         L"vote items voteYes",
         {L"vote"}},
        {"a raw query's terms, without fields, operators, ranges and boosts",
         criteria({{&C::m_sQuery, L"Subject:(budget OR \"holiday rota\") AND NOT Body:draft~0.8 "
                                  L"SentDate:[20130101000000 TO 20140101000000] urgent^2 +plan*"},
                   {&C::m_sKeywords, L"items"}}),
         L"Budget for the holiday rota: an urgent draft planning items and the plan, "
         L"not TO 2013",
         {L"Budget", L"holiday", L"rota", L"urgent", L"draft", L"planning", L"plan"}},
        {"no words, no matches", SearchCriteria{}, L"anything at all", {}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(matched(c.text, c.search), c.expected) << c.what;
}

TEST(SearchWords, SpansCountCharactersOfTheText) {
    const std::vector<SearchWord> words{{{{L"b", 0, 0, 1}}, true}};
    EXPECT_EQ(matchingSpans(L"a bc\U0001F600 bd", words), (std::vector<TextSpan>{{2, 2}, {6, 2}}));
}

// The header line of the sender or of one kind of recipients: "Name
// <address>" where both are known, the address alone where the name is it.
TEST(PeopleText, NamesWithTheirAddressesAsTheHeaderShowsThem) {
    struct Case {
        std::wstring names;
        std::vector<MailRecipient> people;
        std::wstring shown;
    };
    const Case cases[] = {
        {L"Ann Smith", {{L"Ann Smith", L"ann@firm.com"}}, L"Ann Smith <ann@firm.com>"},
        {L"ann@firm.com", {{L"ANN@firm.com", L"ann@firm.com"}}, L"ann@firm.com"},
        {L"'ann@firm.com'", {{L"'ann@firm.com'", L"ann@firm.com"}}, L"ann@firm.com"},
        {L"\"ann@firm.com\"", {{L"\"ann@firm.com\"", L"ann@firm.com"}}, L"ann@firm.com"},
        {L"", {{L"", L"ann@firm.com"}}, L"ann@firm.com"},
        // Names without any address stay as the message lists them.
        {L"Ann; Bob", {{L"Ann", L""}, {L"Bob", L""}}, L"Ann; Bob"},
        {L"Ann; Bob", {{L"Ann", L"ann@firm.com"}, {L"Bob", L""}}, L"Ann <ann@firm.com>; Bob"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.shown));
        CEmailMetadata record;
        record.SetStringValue(L"Cc", c.names);
        record.SetRecipients(RecipientKind::Cc, c.people);
        EXPECT_EQ(peopleText(record, L"Cc"), c.shown);
        if (c.people.size() == 1) {
            record.SetStringValue(L"From", c.people[0].name);
            record.SetFromAddress(c.people[0].address);
            EXPECT_EQ(peopleText(record, L"From"), c.shown);
        }
    }
}
