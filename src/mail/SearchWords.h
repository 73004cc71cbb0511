#pragma once
// The words a search looks for, and where they occur in a text: what the
// preview highlights to show why a message matched. Words compare without
// letter case and without accents; a criteria word matches every word that
// begins with it (as the query does), and the whole word it begins is the
// match. A word is a run of letters and digits; a Chinese or Japanese
// character is a word of its own, as the index splits them.

#include "mail/SearchCriteria.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Kerf::QuireLib {

struct SearchWord {
    std::wstring folded; // lower case, accents taken off
    bool prefix = false; // matches the words that begin with it

    friend bool operator==(const SearchWord&, const SearchWord&) = default;
};

/// A stretch of a text, in characters.
struct TextSpan {
    std::size_t start = 0;
    std::size_t length = 0;

    friend bool operator==(const TextSpan&, const TextSpan&) = default;
};

/// The words of the search the criteria describe: a raw query's terms when
/// there is one (prefix words where they end in a wildcard), else the
/// keywords (whole words), else the words of the text criteria (prefixes).
std::vector<SearchWord> searchWords(const SearchCriteria& criteria);

/// The words of a raw query text: operators, field names, ranges, boosts
/// and quotes left out.
std::vector<SearchWord> rawQueryWords(std::wstring_view query);

/// The whole words of the text that one of the search words matches, in
/// text order.
std::vector<TextSpan> matchingSpans(std::wstring_view text, const std::vector<SearchWord>& words);

/// The character in lower case without its accent (0 for a combining mark,
/// which has no letter of its own).
wchar_t foldCharacter(wchar_t c);

} // namespace Kerf::QuireLib
