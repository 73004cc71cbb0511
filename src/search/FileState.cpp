#include "search/FileState.h"

#include <charconv>
#include <sys/stat.h>

namespace Kerf::Search {

namespace {

constexpr wchar_t kSeparator = L'\x1f';

bool parseNumber(std::wstring_view text, std::size_t begin, std::size_t end, std::int64_t& value) {
    if (begin >= end || end - begin > 20)
        return false;
    char digits[24];
    std::size_t n = 0;
    for (std::size_t i = begin; i < end; ++i) {
        const wchar_t c = text[i];
        if ((c < L'0' || c > L'9') && !(c == L'-' && i == begin))
            return false;
        digits[n++] = static_cast<char>(c);
    }
    const auto [ptr, ec] = std::from_chars(digits, digits + n, value);
    return ec == std::errc() && ptr == digits + n;
}

} // namespace

std::optional<FileState> readFileState(const std::filesystem::path& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0)
        return std::nullopt;
    return FileState{static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1000000000 +
                         static_cast<std::int64_t>(info.st_mtim.tv_nsec),
                     static_cast<std::int64_t>(info.st_size)};
}

std::wstring fileStateText(const std::wstring& path, const FileState& state) {
    return path + kSeparator + std::to_wstring(state.modified) + kSeparator +
           std::to_wstring(state.size);
}

bool parseFileStateText(const std::wstring& text, std::wstring& path, FileState& state) {
    std::wstring_view view;
    if (!parseFileStateText(std::wstring_view(text), view, state))
        return false;
    path = view;
    return true;
}

bool parseFileStateText(std::wstring_view text, std::wstring_view& path, FileState& state) {
    const auto second = text.rfind(kSeparator);
    if (second == std::wstring_view::npos || second == 0)
        return false;
    const auto first = text.rfind(kSeparator, second - 1);
    if (first == std::wstring_view::npos)
        return false;
    FileState parsed;
    if (!parseNumber(text, first + 1, second, parsed.modified) ||
        !parseNumber(text, second + 1, text.size(), parsed.size))
        return false;
    path = text.substr(0, first);
    state = parsed;
    return true;
}

} // namespace Kerf::Search
