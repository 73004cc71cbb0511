#include "mail/SearchWords.h"

#include <gtest/gtest.h>

using namespace Kerf::QuireLib;
using C = SearchCriteria;

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
