#pragma once
// The words of a text as the central index keeps them: each word folded to
// lower case without accents, with its position (1 for the first word), so
// that a phrase can be asked for. A word is a run of letters, digits and
// marks; a Chinese or Japanese character is a word of its own.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Kerf::Central {

struct WordTerm {
    std::wstring term;
    std::uint32_t position = 0;

    friend bool operator==(const WordTerm&, const WordTerm&) = default;
};

std::vector<WordTerm> analyzeWords(std::wstring_view text);

} // namespace Kerf::Central
