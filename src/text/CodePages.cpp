#include "text/CodePages.h"

#include <iconv.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <map>
#include <memory>

namespace Kerf::CodePages {
namespace {

constexpr wchar_t kReplacement = 0xFFFD;

// iconv descriptors are costly to open and not shareable between threads:
// each thread keeps the ones it has opened.
class ConverterCache {
public:
    ~ConverterCache() {
        for (auto& [name, cd] : m_converters)
            if (cd != invalid())
                iconv_close(cd);
    }
    static iconv_t invalid() { return reinterpret_cast<iconv_t>(-1); }

    iconv_t get(const std::string& charset) {
        auto it = m_converters.find(charset);
        if (it == m_converters.end())
            it = m_converters.emplace(charset, iconv_open("WCHAR_T", charset.c_str())).first;
        return it->second;
    }

private:
    std::map<std::string, iconv_t> m_converters;
};

ConverterCache& converters() {
    thread_local ConverterCache cache;
    return cache;
}

static_assert(sizeof(wchar_t) == 4, "wide text holds one code point per character");

std::uint16_t unitAt(const std::uint8_t* data, std::size_t i) {
    return static_cast<std::uint16_t>(data[2 * i] | (data[2 * i + 1] << 8));
}

// Widens UTF-16LE units into `out` up to the first NUL or surrogate, and
// returns how many were widened. Bodies run to tens of thousands of units
// and are nearly always free of both, so this is the reader's hottest loop:
// eight units at a time where SSE2 is there.
std::size_t widenPlainUnits(const std::uint8_t* data, std::size_t units, wchar_t* out) {
    std::size_t i = 0;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    const __m128i surrogateMask = _mm_set1_epi16(static_cast<short>(0xF800));
    const __m128i surrogateBits = _mm_set1_epi16(static_cast<short>(0xD800));
    for (; i + 8 <= units; i += 8) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + 2 * i));
        const __m128i special =
            _mm_or_si128(_mm_cmpeq_epi16(v, zero),
                         _mm_cmpeq_epi16(_mm_and_si128(v, surrogateMask), surrogateBits));
        if (_mm_movemask_epi8(special) != 0)
            break;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_unpacklo_epi16(v, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i + 4), _mm_unpackhi_epi16(v, zero));
    }
#endif
    for (; i < units; ++i) {
        const std::uint16_t unit = unitAt(data, i);
        if (unit == 0 || (unit & 0xF800) == 0xD800)
            break;
        out[i] = static_cast<wchar_t>(unit);
    }
    return i;
}

std::wstring convert(iconv_t cd, std::string_view bytes) {
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    std::wstring out;
    out.resize(bytes.size() + 16);
    char* in = const_cast<char*>(bytes.data());
    size_t inLeft = bytes.size();
    size_t produced = 0;
    while (inLeft > 0) {
        char* outPtr = reinterpret_cast<char*>(out.data() + produced);
        size_t outLeft = (out.size() - produced) * sizeof(wchar_t);
        const size_t rc = iconv(cd, &in, &inLeft, &outPtr, &outLeft);
        produced = out.size() - outLeft / sizeof(wchar_t);
        if (rc != static_cast<size_t>(-1))
            break;
        if (errno == E2BIG) {
            out.resize(out.size() * 2);
        } else if (errno == EILSEQ) {
            // A byte the code page does not map: mark it and go on after it.
            if (produced == out.size())
                out.resize(out.size() * 2);
            out[produced++] = kReplacement;
            ++in;
            --inLeft;
            iconv(cd, nullptr, nullptr, nullptr, nullptr);
        } else {
            // An incomplete sequence at the end.
            if (produced == out.size())
                out.resize(out.size() + 1);
            out[produced++] = kReplacement;
            break;
        }
    }
    out.resize(produced);
    return out;
}

// Code pages that agree with ASCII on every byte below 0x80, so plain ASCII
// text needs no conversion.
bool asciiCompatible(int codePage) {
    static constexpr int compatible[] = {437,   850,   852,   866,   874,   932,   936,  949,  950,
                                         1250,  1251,  1252,  1253,  1254,  1255,  1256, 1257, 1258,
                                         20127, 20866, 21866, 51932, 51949, 54936, 65001};
    return std::find(std::begin(compatible), std::end(compatible), codePage) !=
               std::end(compatible) ||
           (codePage >= 28591 && codePage <= 28605);
}

struct LanguageCodePage {
    std::uint16_t language;
    std::uint16_t codePage;
};

// Primary language (low ten bits of a locale identifier) to its ANSI code
// page, for languages whose sublanguages all share one.
constexpr LanguageCodePage kLanguageCodePages[] = {
    {0x01, 1256}, {0x02, 1251}, {0x03, 1252}, {0x05, 1250}, {0x06, 1252}, {0x07, 1252},
    {0x08, 1253}, {0x09, 1252}, {0x0A, 1252}, {0x0B, 1252}, {0x0C, 1252}, {0x0D, 1255},
    {0x0E, 1250}, {0x0F, 1252}, {0x10, 1252}, {0x11, 932},  {0x12, 949},  {0x13, 1252},
    {0x14, 1252}, {0x15, 1250}, {0x16, 1252}, {0x17, 1252}, {0x18, 1250}, {0x19, 1251},
    {0x1B, 1250}, {0x1C, 1250}, {0x1D, 1252}, {0x1E, 874},  {0x1F, 1254}, {0x20, 1256},
    {0x21, 1252}, {0x22, 1251}, {0x23, 1251}, {0x24, 1250}, {0x25, 1257}, {0x26, 1257},
    {0x27, 1257}, {0x28, 1251}, {0x29, 1256}, {0x2A, 1258}, {0x2D, 1252}, {0x2E, 1252},
    {0x2F, 1251}, {0x32, 1252}, {0x34, 1252}, {0x35, 1252}, {0x36, 1252}, {0x38, 1252},
    {0x3B, 1252}, {0x3C, 1252}, {0x3E, 1252}, {0x3F, 1251}, {0x40, 1251}, {0x41, 1252},
    {0x44, 1251}, {0x50, 1251}, {0x52, 1252}, {0x56, 1252}, {0x5D, 1252}, {0x62, 1252},
    {0x64, 1252}, {0x68, 1252}, {0x6A, 1252}, {0x6B, 1252}, {0x6C, 1252}, {0x6D, 1251},
    {0x6E, 1252}, {0x6F, 1252}, {0x70, 1252}, {0x7A, 1252}, {0x7C, 1252}, {0x7E, 1252},
    {0x7F, 1252}, {0x80, 1256}, {0x82, 1252}, {0x83, 1252}, {0x84, 1252}, {0x85, 1251},
    {0x87, 1252}, {0x88, 1252}, {0x8C, 1256}, {0x91, 1252},
};

} // namespace

int ansiCodePageOfLocale(std::uint32_t localeId) {
    const std::uint32_t language = localeId & 0x3FF;
    const std::uint32_t sublanguage = (localeId >> 10) & 0x3F;
    switch (language) {
    case 0x04: // Chinese: Taiwan, Hong Kong and Macao write traditional characters
        return sublanguage == 1 || sublanguage == 3 || sublanguage == 5 ? 950 : 936;
    case 0x1A: // Croatian, Serbian, Bosnian: the Cyrillic variants use 1251
        return sublanguage == 3 || sublanguage == 7 || sublanguage == 8 ? 1251 : 1250;
    case 0x2C: // Azerbaijani and Uzbek: Latin 1254, Cyrillic 1251
    case 0x43:
        return sublanguage == 2 ? 1251 : 1254;
    default:
        for (const LanguageCodePage& entry : kLanguageCodePages)
            if (entry.language == language)
                return entry.codePage;
        // Languages written only in Unicode have no ANSI code page.
        return 0;
    }
}

int messageCodePage(std::optional<std::uint32_t> codePage, std::optional<std::uint32_t> localeId,
                    std::optional<std::uint32_t> internetCodePage) {
    if (codePage && *codePage != 0 && *codePage <= 65535)
        return static_cast<int>(*codePage);
    if (localeId) {
        if (const int ansi = ansiCodePageOfLocale(*localeId); ansi != 0)
            return ansi;
    }
    if (internetCodePage && *internetCodePage != 0 && *internetCodePage <= 65535)
        return static_cast<int>(*internetCodePage);
    return 1252;
}

std::string iconvName(int codePage) {
    switch (codePage) {
    case 20127:
        return "ASCII";
    case 65001:
        return "UTF-8";
    case 65000:
        return "UTF-7";
    case 1200:
        return "UTF-16LE";
    case 1201:
        return "UTF-16BE";
    case 20866:
        return "KOI8-R";
    case 21866:
        return "KOI8-U";
    case 50220:
    case 50221:
    case 50222:
        return "ISO-2022-JP";
    case 50225:
        return "ISO-2022-KR";
    case 51932:
        return "EUC-JP";
    case 51936:
        return "GB2312";
    case 51949:
        return "EUC-KR";
    case 52936:
        return "HZ";
    case 54936:
        return "GB18030";
    case 10000:
        return "MACINTOSH";
    default:
        if (codePage >= 28591 && codePage <= 28606)
            return "ISO-8859-" + std::to_string(codePage - 28590);
        return "CP" + std::to_string(codePage);
    }
}

std::wstring decode(std::string_view bytes, int codePage) {
    if (asciiCompatible(codePage)) {
        bool ascii = true;
        for (char c : bytes)
            if (static_cast<unsigned char>(c) >= 0x80) {
                ascii = false;
                break;
            }
        if (ascii)
            return std::wstring(bytes.begin(), bytes.end());
    }
    iconv_t cd = converters().get(iconvName(codePage));
    if (cd == ConverterCache::invalid())
        cd = converters().get("CP1252");
    if (cd == ConverterCache::invalid())
        return std::wstring(bytes.begin(), bytes.end());
    return convert(cd, bytes);
}

std::optional<std::wstring> decodeCharset(std::string_view bytes, const std::string& charset) {
    iconv_t cd = converters().get(charset);
    if (cd == ConverterCache::invalid())
        return std::nullopt;
    return convert(cd, bytes);
}

std::wstring decodeUtf16le(const std::uint8_t* data, std::size_t size, bool stopAtNul) {
    const std::size_t units = size / 2;
    std::wstring out(units, L'\0');
    wchar_t* put = out.data();
    std::size_t i = 0;
    while (i < units) {
        const std::size_t plain = widenPlainUnits(data + 2 * i, units - i, put);
        i += plain;
        put += plain;
        if (i == units)
            break;
        const char32_t unit = unitAt(data, i);
        if (unit == 0) {
            if (stopAtNul)
                break;
            *put++ = L'\0';
        } else if (unit <= 0xDBFF && i + 1 < units && (unitAt(data, i + 1) & 0xFC00) == 0xDC00) {
            const char32_t low = unitAt(data, i + 1);
            *put++ = static_cast<wchar_t>(0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
            ++i;
        } else {
            *put++ = kReplacement;
        }
        ++i;
    }
    out.resize(static_cast<std::size_t>(put - out.data()));
    return out;
}

} // namespace Kerf::CodePages
