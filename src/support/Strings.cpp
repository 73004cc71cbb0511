#include "support/Strings.h"

#include <clocale>
#include <cwctype>
#include <locale.h>

namespace Kerf {

std::wstring TrailDirectorySlash(const std::wstring& path) {
    if (!path.empty() && path.back() == L'/')
        return path;
    return path + L'/';
}

namespace Util {

namespace {

constexpr wchar_t kEscapeBase = 0xDC00;

// Length of the valid UTF-8 sequence starting at s[i], or 0 when it is not one.
size_t validSequenceLength(std::string_view s, size_t i, char32_t& out) {
    const auto b0 = static_cast<unsigned char>(s[i]);
    if (b0 < 0x80) {
        out = b0;
        return 1;
    }
    size_t len = 0;
    char32_t cp = 0;
    char32_t min = 0;
    if ((b0 & 0xE0) == 0xC0) {
        len = 2;
        cp = b0 & 0x1F;
        min = 0x80;
    } else if ((b0 & 0xF0) == 0xE0) {
        len = 3;
        cp = b0 & 0x0F;
        min = 0x800;
    } else if ((b0 & 0xF8) == 0xF0) {
        len = 4;
        cp = b0 & 0x07;
        min = 0x10000;
    } else {
        return 0;
    }
    if (i + len > s.size())
        return 0;
    for (size_t k = 1; k < len; ++k) {
        const auto b = static_cast<unsigned char>(s[i + k]);
        if ((b & 0xC0) != 0x80)
            return 0;
        cp = (cp << 6) | (b & 0x3F);
    }
    // Overlong forms, surrogates and values past U+10FFFF are not valid text;
    // they are escaped byte by byte like any other stray byte.
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
        return 0;
    out = cp;
    return len;
}

locale_t utf8Locale() {
    static locale_t loc = [] {
        locale_t l = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
        if (l == static_cast<locale_t>(0))
            l = newlocale(LC_CTYPE_MASK, "en_US.UTF-8", static_cast<locale_t>(0));
        return l;
    }();
    return loc;
}

} // namespace

std::wstring toWide(std::string_view bytes) {
    std::wstring out(bytes.size(), L'\0');
    size_t n = 0;
    for (size_t i = 0; i < bytes.size();) {
        const auto b = static_cast<unsigned char>(bytes[i]);
        if (b < 0x80) { // the common case: paths are mostly ASCII
            out[n++] = static_cast<wchar_t>(b);
            ++i;
            continue;
        }
        char32_t cp = 0;
        const size_t len = validSequenceLength(bytes, i, cp);
        if (len == 0) {
            out[n++] = static_cast<wchar_t>(kEscapeBase + b);
            ++i;
        } else {
            out[n++] = static_cast<wchar_t>(cp);
            i += len;
        }
    }
    out.resize(n);
    return out;
}

std::string toNarrow(std::wstring_view text) {
    std::string out;
    toNarrow(text, out);
    return out;
}

std::string_view toNarrow(std::wstring_view text, std::string& out) {
    // At most four bytes a character; written through an index rather than
    // appended, since this runs for every path of every walk.
    out.resize(text.size() * 4);
    size_t n = 0;
    auto put = [&](unsigned value) { out[n++] = static_cast<char>(value); };
    for (wchar_t wc : text) {
        const auto cp = static_cast<char32_t>(wc);
        if (cp < 0x80) {
            put(cp);
        } else if (cp >= 0xDC80 && cp <= 0xDCFF) {
            put(cp - kEscapeBase);
        } else if (cp < 0x800) {
            put(0xC0 | (cp >> 6));
            put(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000 && !(cp >= 0xD800 && cp <= 0xDFFF)) {
            put(0xE0 | (cp >> 12));
            put(0x80 | ((cp >> 6) & 0x3F));
            put(0x80 | (cp & 0x3F));
        } else if (cp >= 0x10000 && cp <= 0x10FFFF) {
            put(0xF0 | (cp >> 18));
            put(0x80 | ((cp >> 12) & 0x3F));
            put(0x80 | ((cp >> 6) & 0x3F));
            put(0x80 | (cp & 0x3F));
        } else {
            // A lone surrogate or a value past U+10FFFF has no UTF-8 form.
            put(0xEF);
            put(0xBF);
            put(0xBD);
        }
    }
    out.resize(n);
    return out;
}

std::filesystem::path toPath(const std::wstring& text) {
    return std::filesystem::path(toNarrow(text));
}

std::wstring fromPath(const std::filesystem::path& path) {
    return toWide(path.native());
}

wchar_t foldCase(wchar_t c) {
    if (c < 0x80)
        return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c + 32) : c;
    if (c >= 0xDC80 && c <= 0xDCFF)
        return c; // escaped raw byte: compared as is
    const locale_t loc = utf8Locale();
    if (loc == static_cast<locale_t>(0))
        return c;
    return static_cast<wchar_t>(towlower_l(static_cast<wint_t>(c), loc));
}

std::wstring toLower(std::wstring_view text) {
    std::wstring out(text);
    for (auto& c : out) {
        if (c >= L'A' && c <= L'Z')
            c = static_cast<wchar_t>(c + 32);
        else if (c >= 0x80)
            c = foldCase(c);
    }
    return out;
}

int compareNoCase(std::wstring_view a, std::wstring_view b) {
    const size_t n = std::min(a.size(), b.size());
    for (size_t i = 0; i < n; ++i) {
        if (a[i] == b[i])
            continue;
        const wchar_t fa = foldCase(a[i]);
        const wchar_t fb = foldCase(b[i]);
        if (fa != fb)
            return fa < fb ? -1 : 1;
    }
    if (a.size() == b.size())
        return 0;
    return a.size() < b.size() ? -1 : 1;
}

std::vector<std::wstring> splitTokens(std::wstring_view text, std::wstring_view separators) {
    std::vector<std::wstring> pieces;
    size_t start = 0;
    while (start < text.size()) {
        const size_t begin = text.find_first_not_of(separators, start);
        if (begin == std::wstring_view::npos)
            break;
        size_t end = text.find_first_of(separators, begin);
        if (end == std::wstring_view::npos)
            end = text.size();
        pieces.emplace_back(text.substr(begin, end - begin));
        start = end;
    }
    return pieces;
}

std::wstring trim(std::wstring_view text) {
    const wchar_t* ws = L" \t\r\n\f\v";
    const size_t b = text.find_first_not_of(ws);
    if (b == std::wstring_view::npos)
        return {};
    const size_t e = text.find_last_not_of(ws);
    return std::wstring(text.substr(b, e - b + 1));
}

} // namespace Util
} // namespace Kerf
