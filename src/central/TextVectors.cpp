#include "central/TextVectors.h"

#include "search/WordAnalyzer.h"
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

// The terms of one typed word or phrase in sequence, each at its distance
// from the one before ("'john' <-> 'smith'", "'a' <2> 'b'"); the last one a
// prefix when asked.
std::string sequence(const std::vector<Search::AnalyzedTerm>& terms, bool prefix) {
    std::string out;
    std::string narrow;
    std::int32_t last = 0;
    for (std::size_t i = 0; i < terms.size(); ++i) {
        Util::toNarrow(terms[i].text, narrow);
        if (narrow.size() > kMaxWordBytes)
            continue;
        if (!out.empty()) {
            const std::int32_t distance = terms[i].position - last;
            out += distance > 0 ? " <" + std::to_string(distance) + "> " : " & ";
        }
        last = terms[i].position;
        appendQuoted(out, narrow);
        if (prefix && i + 1 == terms.size())
            out += ":*";
    }
    return out;
}

std::string typedQuery(std::wstring_view typed, bool prefix) {
    std::string out;
    for (const Search::TypedWords& word : Search::splitTypedWords(typed)) {
        // As in the per-user index: a run of ideographs split into pairs is
        // looked for whole, since its last pair is no unfinished word.
        const bool ideographs =
            word.terms.size() > 1 && Search::isIdeographicTerm(word.terms.back().text);
        const std::string part = sequence(word.terms, prefix && !word.quoted && !ideographs);
        if (part.empty())
            continue;
        if (!out.empty())
            out += " & ";
        out += word.terms.size() > 1 ? "(" + part + ")" : part;
    }
    return out;
}

// Positions left empty between two texts of one field.
constexpr std::uint32_t kTextGap = 100;

} // namespace

std::string toTsVectorText(std::wstring_view text) {
    return toTsVectorText({text});
}

std::string toTsVectorText(std::initializer_list<std::wstring_view> texts) {
    std::map<std::string, std::vector<std::uint32_t>> positions;
    std::size_t bytes = 0;
    std::uint32_t start = 0;
    for (std::wstring_view text : texts) {
        std::uint32_t next = start;
        for (const Search::AnalyzedTerm& term : Search::analyzeWords(text)) {
            std::string narrow = Util::toNarrow(term.text);
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
            // The server counts positions from 1.
            const auto position =
                std::min(start + static_cast<std::uint32_t>(term.position) + 1, kMaxPosition);
            if (list.size() < kMaxPositionsPerWord && (list.empty() || list.back() != position))
                list.push_back(position);
            next = std::max(next, position);
        }
        start = next + kTextGap;
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

std::string toPrefixQueryText(std::wstring_view typed) {
    return typedQuery(typed, true);
}

std::string toPhraseQueryText(std::wstring_view typed) {
    return typedQuery(typed, false);
}

} // namespace Kerf::Central
