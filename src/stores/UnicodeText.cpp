#include "stores/UnicodeText.h"

#include "support/Strings.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace Kerf::QuireLib::UnicodeText {
namespace {

std::wstring decodeUtf16(std::string_view bytes, bool bigEndian) {
    std::wstring text;
    text.reserve(bytes.size() / 2);
    const auto unit = [&](size_t i) -> char32_t {
        const auto a = static_cast<unsigned char>(bytes[i]);
        const auto b = static_cast<unsigned char>(bytes[i + 1]);
        return bigEndian ? (a << 8 | b) : (b << 8 | a);
    };
    // A trailing odd byte cannot be a character and is dropped.
    const size_t end = bytes.size() & ~size_t{1};
    for (size_t i = 0; i < end; i += 2) {
        char32_t c = unit(i);
        if (c >= 0xD800 && c <= 0xDBFF && i + 3 < end) {
            const char32_t low = unit(i + 2);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
                i += 2;
            }
        }
        text.push_back(static_cast<wchar_t>(c));
    }
    return text;
}

} // namespace

std::wstring decode(std::string_view bytes) {
    if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
        static_cast<unsigned char>(bytes[1]) == 0xFE)
        return decodeUtf16(bytes.substr(2), false);
    if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFE &&
        static_cast<unsigned char>(bytes[1]) == 0xFF)
        return decodeUtf16(bytes.substr(2), true);
    if (bytes.size() >= 3 && bytes.substr(0, 3) == "\xEF\xBB\xBF")
        bytes.remove_prefix(3);
    return Util::toWide(bytes);
}

std::vector<std::wstring> splitLines(std::wstring_view text) {
    std::vector<std::wstring> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find(L'\n', start);
        if (end == std::wstring_view::npos)
            end = text.size();
        std::wstring_view line = text.substr(start, end - start);
        if (!line.empty() && line.back() == L'\r')
            line.remove_suffix(1);
        lines.emplace_back(line);
        start = end + 1;
    }
    return lines;
}

std::optional<std::vector<std::wstring>> readLines(const std::wstring& path) {
    std::error_code ec;
    if (std::filesystem::is_directory(Util::toPath(path), ec))
        return std::nullopt;
    std::ifstream in(Util::toPath(path), std::ios::binary);
    if (!in)
        return std::nullopt;
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad())
        return std::nullopt;
    return splitLines(decode(bytes));
}

} // namespace Kerf::QuireLib::UnicodeText
