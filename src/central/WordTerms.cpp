#include "central/WordTerms.h"

#include "mail/SearchWords.h"

#include <glib.h>

namespace Kerf::Central {
namespace {

bool isSingleCharacterWord(wchar_t c) {
    const GUnicodeBreakType type = g_unichar_break_type(static_cast<gunichar>(c));
    return type == G_UNICODE_BREAK_IDEOGRAPHIC ||
           type == G_UNICODE_BREAK_CONDITIONAL_JAPANESE_STARTER;
}

bool isWordCharacter(wchar_t c) {
    const auto u = static_cast<gunichar>(c);
    return g_unichar_isalnum(u) || g_unichar_ismark(u);
}

} // namespace

std::vector<WordTerm> analyzeWords(std::wstring_view text) {
    std::vector<WordTerm> words;
    std::uint32_t position = 0;
    std::size_t i = 0;
    const auto add = [&](std::wstring_view word) {
        std::wstring folded;
        for (const wchar_t c : word)
            if (const wchar_t f = QuireLib::foldCharacter(c))
                folded.push_back(f);
        if (!folded.empty())
            words.push_back({std::move(folded), ++position});
    };
    while (i < text.size()) {
        if (isSingleCharacterWord(text[i])) {
            add(text.substr(i, 1));
            ++i;
        } else if (isWordCharacter(text[i])) {
            const std::size_t start = i;
            while (i < text.size() && isWordCharacter(text[i]) && !isSingleCharacterWord(text[i]))
                ++i;
            add(text.substr(start, i - start));
        } else {
            ++i;
        }
    }
    return words;
}

} // namespace Kerf::Central
