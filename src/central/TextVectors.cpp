#include "central/TextVectors.h"

#include "central/WordTerms.h"
#include "support/Strings.h"

#include <algorithm>
#include <map>
#include <vector>

namespace Kerf::Central {
namespace {

// A word in the quotes of a tsvector or tsquery literal.
void appendQuoted(std::string& out, std::string_view word) {
    out.push_back('\'');
    for (const char c : word) {
        if (c == '\'' || c == '\\')
            out.push_back(c);
        out.push_back(c);
    }
    out.push_back('\'');
}

std::string joinedWords(std::wstring_view text, const char* suffix, const char* separator) {
    std::string out;
    std::string narrow;
    for (const WordTerm& word : analyzeWords(text)) {
        Util::toNarrow(word.term, narrow);
        if (narrow.size() > kMaxWordBytes)
            continue;
        if (!out.empty())
            out += separator;
        appendQuoted(out, narrow);
        out += suffix;
    }
    return out;
}

} // namespace

std::string toTsVectorText(std::wstring_view text) {
    std::map<std::string, std::vector<std::uint32_t>> positions;
    std::size_t bytes = 0;
    for (WordTerm& word : analyzeWords(text)) {
        std::string narrow = Util::toNarrow(word.term);
        if (narrow.size() > kMaxWordBytes)
            continue;
        auto found = positions.find(narrow);
        if (found == positions.end()) {
            if (bytes + narrow.size() > kMaxVectorBytes)
                continue;
            bytes += narrow.size();
            found = positions.emplace(std::move(narrow), std::vector<std::uint32_t>{}).first;
        }
        std::vector<std::uint32_t>& list = found->second;
        const std::uint32_t position = std::min(word.position, kMaxPosition);
        if (list.size() < kMaxPositionsPerWord && (list.empty() || list.back() != position))
            list.push_back(position);
    }
    std::string out;
    for (const auto& [word, list] : positions) {
        if (!out.empty())
            out.push_back(' ');
        appendQuoted(out, word);
        for (std::size_t i = 0; i < list.size(); ++i) {
            out.push_back(i == 0 ? ':' : ',');
            out += std::to_string(list[i]);
        }
    }
    return out;
}

std::string toPrefixQueryText(std::wstring_view text) {
    return joinedWords(text, ":*", " & ");
}

std::string toPhraseQueryText(std::wstring_view text) {
    return joinedWords(text, "", " <-> ");
}

} // namespace Kerf::Central
