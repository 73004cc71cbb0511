#pragma once
// The heading text that declares a list's columns: name and width pairs,
// "Name,width;Name,width;". A width of 0 declares a hidden column.

#include <string>
#include <string_view>
#include <vector>

namespace Kerf::QuireLib {

struct HeadingColumn {
    std::wstring name;
    int width = 0;

    friend bool operator==(const HeadingColumn&, const HeadingColumn&) = default;
};

/// The columns in declaration order. Parsing stops at the first stretch
/// without a ","; a final ";" is allowed. Widths read like wcstol: leading
/// blanks are skipped and anything after the digits is ignored; a width that
/// is not a number, or a negative one, reads as 0.
std::vector<HeadingColumn> parseHeadingText(std::wstring_view spec);

} // namespace Kerf::QuireLib
