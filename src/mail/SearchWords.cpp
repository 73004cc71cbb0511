#include "mail/SearchWords.h"

#include <algorithm>
#include <cwctype>

namespace Kerf::QuireLib {

using Search::AnalyzedTerm;
using Search::CAnalyzedText;

namespace {

bool sameTerms(const SearchWord& a, const SearchWord& b) {
    return a.prefix == b.prefix &&
           std::equal(a.terms.begin(), a.terms.end(), b.terms.begin(), b.terms.end(),
                      [](const AnalyzedTerm& x, const AnalyzedTerm& y) {
                          return x.text == y.text && x.position == y.position;
                      });
}

void addWord(std::vector<SearchWord>& words, SearchWord word) {
    if (word.terms.empty())
        return;
    if (std::none_of(words.begin(), words.end(),
                     [&](const SearchWord& w) { return sameTerms(w, word); }))
        words.push_back(std::move(word));
}

void addTypedWords(std::vector<SearchWord>& words, std::wstring_view text, bool prefix) {
    for (Search::TypedWords& typed : Search::splitTypedWords(text)) {
        // As the query matches them: a Chinese or Japanese word of several
        // pairs whole.
        const bool asPrefix =
            prefix && !typed.quoted &&
            !(typed.terms.size() > 1 && Search::isIdeographicTerm(typed.terms.back().text));
        addWord(words, {std::move(typed.terms), asPrefix});
    }
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
        if (!std::iswalnum(static_cast<wint_t>(term[i])) && term[i] != L'_')
            return term;
    return term.substr(colon + 1);
}

bool isJoined(std::wstring_view term) {
    return term.find_first_of(L".@") != std::wstring_view::npos;
}

// A word joined by "." or "@" is indexed whole beside its parts; a search
// word that is a part marks the part alone.
bool termMatches(std::wstring_view indexed, const std::wstring& wanted, bool prefix) {
    if (isJoined(indexed) && !isJoined(wanted))
        return false;
    return prefix ? indexed.starts_with(wanted) : indexed == wanted;
}

/// Where the word matches with its first term at entry `first`: the span
/// of the terms it matched; none when it does not match there.
bool matchAt(const CAnalyzedText& text, std::size_t first, const SearchWord& word, TextSpan& span) {
    const std::size_t last = word.terms.size() - 1;
    if (!termMatches(text.term(first), word.terms[0].text, word.prefix && last == 0))
        return false;
    std::size_t start = text.entry(first).start;
    std::size_t end = text.entry(first).end;
    const std::int32_t origin = text.entry(first).position - word.terms[0].position;
    for (std::size_t k = 1; k <= last; ++k) {
        const std::int32_t position = origin + word.terms[k].position;
        bool found = false;
        for (std::size_t i = first + 1; i < text.size() && text.entry(i).position <= position;
             ++i) {
            if (text.entry(i).position == position &&
                termMatches(text.term(i), word.terms[k].text, word.prefix && k == last)) {
                start = std::min<std::size_t>(start, text.entry(i).start);
                end = std::max<std::size_t>(end, text.entry(i).end);
                found = true;
                break;
            }
        }
        if (!found)
            return false;
    }
    span = {start, end - start};
    return true;
}

} // namespace

std::vector<SearchWord> rawQueryWords(std::wstring_view query) {
    std::vector<SearchWord> words;
    bool inRange = false;
    std::size_t i = 0;
    while (i < query.size()) {
        while (i < query.size() && std::iswspace(static_cast<wint_t>(query[i])))
            ++i;
        const std::size_t start = i;
        while (i < query.size() && !std::iswspace(static_cast<wint_t>(query[i])))
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
        std::wstring plain;
        for (const wchar_t c : term.substr(0, wildcard))
            if (c != L'\\')
                plain.push_back(c);
        addWord(words, {Search::analyzeWords(plain, Search::WordUse::Searching),
                        wildcard != std::wstring_view::npos});
    }
    return words;
}

std::vector<SearchWord> searchWords(const SearchCriteria& criteria) {
    if (!criteria.m_sQuery.empty())
        return rawQueryWords(criteria.m_sQuery);
    std::vector<SearchWord> words;
    if (!criteria.m_sKeywords.empty()) {
        addTypedWords(words, criteria.m_sKeywords, false);
        return words;
    }
    for (const std::wstring* text :
         {&criteria.m_sSubject, &criteria.m_sBody, &criteria.m_sFrom, &criteria.m_sTo,
          &criteria.m_sCc, &criteria.m_sBcc, &criteria.m_sAttachment})
        addTypedWords(words, *text, true);
    return words;
}

std::vector<TextSpan> matchingSpans(std::wstring_view text, const std::vector<SearchWord>& words) {
    std::vector<TextSpan> spans;
    if (words.empty())
        return spans;
    const CAnalyzedText analyzed(text);
    for (std::size_t i = 0; i < analyzed.size(); ++i) {
        for (const SearchWord& word : words) {
            TextSpan span;
            if (matchAt(analyzed, i, word, span))
                spans.push_back(span);
        }
    }
    std::sort(spans.begin(), spans.end(), [](const TextSpan& a, const TextSpan& b) {
        return a.start != b.start ? a.start < b.start : a.length > b.length;
    });
    std::vector<TextSpan> joined;
    for (const TextSpan& span : spans) {
        if (!joined.empty() && span.start < joined.back().start + joined.back().length) {
            TextSpan& previous = joined.back();
            previous.length = std::max(previous.start + previous.length, span.start + span.length) -
                              previous.start;
        } else {
            joined.push_back(span);
        }
    }
    return joined;
}

} // namespace Kerf::QuireLib
