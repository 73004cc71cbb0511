#include "mail/SearchWords.h"

#include <glib.h>

#include <algorithm>

namespace Kerf::QuireLib {
namespace {

// Chinese and Japanese characters: the index's tokenizer makes each one a
// word, so a search for one of them matches it inside a longer run.
bool isSingleCharacterWord(wchar_t c) {
    const GUnicodeBreakType type = g_unichar_break_type(static_cast<gunichar>(c));
    return type == G_UNICODE_BREAK_IDEOGRAPHIC ||
           type == G_UNICODE_BREAK_CONDITIONAL_JAPANESE_STARTER;
}

bool isWordCharacter(wchar_t c) {
    const auto u = static_cast<gunichar>(c);
    return g_unichar_isalnum(u) || g_unichar_ismark(u);
}

std::vector<TextSpan> wordsOf(std::wstring_view text) {
    std::vector<TextSpan> words;
    std::size_t i = 0;
    while (i < text.size()) {
        if (isSingleCharacterWord(text[i])) {
            words.push_back({i, 1});
            ++i;
        } else if (isWordCharacter(text[i])) {
            const std::size_t start = i;
            while (i < text.size() && isWordCharacter(text[i]) && !isSingleCharacterWord(text[i]))
                ++i;
            words.push_back({start, i - start});
        } else {
            ++i;
        }
    }
    return words;
}

std::wstring fold(std::wstring_view word) {
    std::wstring folded;
    folded.reserve(word.size());
    for (const wchar_t c : word)
        if (const wchar_t f = foldCharacter(c))
            folded.push_back(f);
    return folded;
}

void addWord(std::vector<SearchWord>& words, std::wstring folded, bool prefix) {
    if (folded.empty())
        return;
    SearchWord word{std::move(folded), prefix};
    if (std::find(words.begin(), words.end(), word) == words.end())
        words.push_back(std::move(word));
}

// Every word of a typed text; the last one a prefix when asked.
void addWordsOf(std::vector<SearchWord>& words, std::wstring_view text, bool allPrefix,
                bool lastPrefix) {
    const std::vector<TextSpan> spans = wordsOf(text);
    for (std::size_t i = 0; i < spans.size(); ++i)
        addWord(words, fold(text.substr(spans[i].start, spans[i].length)),
                allPrefix || (lastPrefix && i + 1 == spans.size()));
}

bool isOperator(std::wstring_view term) {
    for (const wchar_t* op : {L"AND", L"OR", L"NOT", L"TO", L"&&", L"||"})
        if (term == op)
            return true;
    return false;
}

std::wstring_view trimmed(std::wstring_view term, std::wstring_view front, std::wstring_view back) {
    while (!term.empty() && front.find(term.front()) != std::wstring_view::npos)
        term.remove_prefix(1);
    while (!term.empty() && back.find(term.back()) != std::wstring_view::npos)
        term.remove_suffix(1);
    return term;
}

// "Subject:budget" names a field; "budget" alone does not.
std::wstring_view withoutField(std::wstring_view term) {
    const std::size_t colon = term.find(L':');
    if (colon == std::wstring_view::npos || colon == 0)
        return term;
    for (std::size_t i = 0; i < colon; ++i)
        if (!isWordCharacter(term[i]) && term[i] != L'_')
            return term;
    return term.substr(colon + 1);
}

} // namespace

wchar_t foldCharacter(wchar_t c) {
    const auto u = static_cast<gunichar>(c);
    if (g_unichar_ismark(u))
        return 0;
    gunichar parts[G_UNICHAR_MAX_DECOMPOSITION_LENGTH];
    const gsize count = g_unichar_fully_decompose(u, FALSE, parts, G_N_ELEMENTS(parts));
    return static_cast<wchar_t>(g_unichar_tolower(count > 0 ? parts[0] : u));
}

std::vector<SearchWord> rawQueryWords(std::wstring_view query) {
    std::vector<SearchWord> words;
    bool inRange = false;
    std::size_t i = 0;
    while (i < query.size()) {
        while (i < query.size() && g_unichar_isspace(static_cast<gunichar>(query[i])))
            ++i;
        const std::size_t start = i;
        while (i < query.size() && !g_unichar_isspace(static_cast<gunichar>(query[i])))
            ++i;
        std::wstring_view term = query.substr(start, i - start);
        term = trimmed(withoutField(trimmed(term, L"+-!(\"", L")\"")), L"+-!(\"", L")\"");
        // A range names bounds, not words: "[2013 TO 2014]".
        if (!term.empty() && (term.front() == L'[' || term.front() == L'{'))
            inRange = true;
        if (inRange) {
            if (!term.empty() && (term.back() == L']' || term.back() == L'}'))
                inRange = false;
            continue;
        }
        if (term.empty() || isOperator(term))
            continue;
        term = term.substr(0, term.find_first_of(L"^~")); // boost, similarity
        const std::size_t wildcard = term.find_first_of(L"*?");
        const bool prefix = wildcard != std::wstring_view::npos;
        std::wstring plain;
        for (const wchar_t c : term.substr(0, wildcard))
            if (c != L'\\')
                plain.push_back(c);
        addWordsOf(words, plain, false, prefix);
    }
    return words;
}

std::vector<SearchWord> searchWords(const SearchCriteria& criteria) {
    if (!criteria.m_sQuery.empty())
        return rawQueryWords(criteria.m_sQuery);
    // Keywords reach the parser as typed, one term each.
    if (!criteria.m_sKeywords.empty())
        return rawQueryWords(criteria.m_sKeywords);
    std::vector<SearchWord> words;
    for (const std::wstring* text :
         {&criteria.m_sSubject, &criteria.m_sBody, &criteria.m_sFrom, &criteria.m_sTo,
          &criteria.m_sCc, &criteria.m_sBcc, &criteria.m_sAttachment})
        addWordsOf(words, *text, true, true);
    return words;
}

std::vector<TextSpan> matchingSpans(std::wstring_view text, const std::vector<SearchWord>& words) {
    std::vector<TextSpan> matches;
    if (words.empty())
        return matches;
    for (const TextSpan& span : wordsOf(text)) {
        const std::wstring folded = fold(text.substr(span.start, span.length));
        const bool match = std::any_of(words.begin(), words.end(), [&](const SearchWord& word) {
            return word.prefix ? folded.starts_with(word.folded) : folded == word.folded;
        });
        if (match)
            matches.push_back(span);
    }
    return matches;
}

} // namespace Kerf::QuireLib
