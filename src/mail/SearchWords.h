#pragma once
// The words a search looks for, and where they occur in a text: what the
// preview highlights to show why a message matched. Both go through the
// index's word analyzer, so a word is marked where the index found it:
// without letter case or accents, an address whole or in its parts, a
// Chinese or Japanese word in pairs of characters. A criteria word matches
// the words that begin with it (as the query does); a quoted phrase matches
// its words in a row, and the whole phrase is marked.

#include "mail/SearchCriteria.h"
#include "search/WordAnalyzer.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Kerf::QuireLib {

struct SearchWord {
    std::vector<Search::AnalyzedTerm> terms; // in a row, as the analyzer placed them
    bool prefix = false;                     // the last term matches words that begin with it
};

/// A stretch of a text, in characters.
struct TextSpan {
    std::size_t start = 0;
    std::size_t length = 0;

    friend bool operator==(const TextSpan&, const TextSpan&) = default;
};

/// The words of the search the criteria describe: a raw query's terms when
/// there is one (prefix words where they end in a wildcard), else the
/// keywords (whole words and phrases), else the words of the text criteria
/// (prefixes, and phrases where quoted).
std::vector<SearchWord> searchWords(const SearchCriteria& criteria);

/// The words of a raw query text: operators, field names, ranges, boosts
/// and quotes left out.
std::vector<SearchWord> rawQueryWords(std::wstring_view query);

/// The stretches of the text that one of the search words matches, in text
/// order, overlapping ones joined.
std::vector<TextSpan> matchingSpans(std::wstring_view text, const std::vector<SearchWord>& words);

} // namespace Kerf::QuireLib
