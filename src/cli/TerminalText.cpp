#include "cli/TerminalText.h"

#include "support/Strings.h"

#include <cstdio>

namespace QoCli {
namespace {

bool isBidiControl(char32_t c) {
    return c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) ||
           (c >= 0x2066 && c <= 0x2069);
}

} // namespace

std::string terminalText(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    std::size_t plainStart = 0;
    char escape[16];
    for (std::size_t i = 0; i <= text.size(); ++i) {
        const auto c = i < text.size() ? static_cast<char32_t>(text[i]) : U'\0';
        const bool control = (c < 0x20 && c != U'\t') || (c >= 0x7F && c <= 0x9F);
        // Bytes that were not UTF-8 are held as U+DC80..U+DCFF.
        const bool rawByte = c >= 0xDC80 && c <= 0xDCFF;
        if (i < text.size() && !control && !rawByte && !isBidiControl(c))
            continue;
        out += Kerf::Util::toNarrow(text.substr(plainStart, i - plainStart));
        plainStart = i + 1;
        if (i == text.size())
            break;
        if (rawByte)
            std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned>(c - 0xDC00));
        else if (c <= 0xFF)
            std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned>(c));
        else
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
        out += escape;
    }
    return out;
}

} // namespace QoCli
