#pragma once
// Reading the product's Unicode text files (settings files and the lists of
// filing lists): UTF-16 in either byte order, told apart by its byte-order
// mark, or UTF-8 with or without a mark. Line ends may be LF or CR LF.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Kerf::QuireLib::UnicodeText {

/// The bytes of a file decoded to wide text; the byte-order mark is dropped.
std::wstring decode(std::string_view bytes);

/// The text split into lines without their line ends. A final line end does
/// not start an empty last line.
std::vector<std::wstring> splitLines(std::wstring_view text);

/// All lines of a file, or nothing when it cannot be read.
std::optional<std::vector<std::wstring>> readLines(const std::wstring& path);

} // namespace Kerf::QuireLib::UnicodeText
