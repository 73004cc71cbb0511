#include "controls/HeadingText.h"

#include <climits>
#include <cwchar>

namespace Kerf::QuireLib {
namespace {

int readWidth(std::wstring_view text) {
    const std::wstring copy(text); // wcstol needs a terminated string
    const long value = std::wcstol(copy.c_str(), nullptr, 10);
    if (value < 0)
        return 0;
    return value > INT_MAX ? INT_MAX : static_cast<int>(value);
}

} // namespace

std::vector<HeadingColumn> parseHeadingText(std::wstring_view spec) {
    std::vector<HeadingColumn> columns;
    size_t pos = 0;
    while (pos < spec.size()) {
        const size_t comma = spec.find(L',', pos);
        if (comma == std::wstring_view::npos)
            break;
        const size_t semicolon = spec.find(L';', comma + 1);
        const size_t widthEnd = semicolon == std::wstring_view::npos ? spec.size() : semicolon;
        columns.push_back({std::wstring(spec.substr(pos, comma - pos)),
                           readWidth(spec.substr(comma + 1, widthEnd - comma - 1))});
        if (semicolon == std::wstring_view::npos)
            break;
        pos = semicolon + 1;
    }
    return columns;
}

} // namespace Kerf::QuireLib
