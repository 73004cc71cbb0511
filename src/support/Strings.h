#pragma once
// Text helpers shared by every layer: wide/narrow conversion that survives
// file names which are not valid UTF-8, case-insensitive path ordering and
// the token splitter used when queries are built from typed words.

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Kerf {

/// The path with one final separator added when it has none.
std::wstring TrailDirectorySlash(const std::wstring& path);

namespace Util {

/// UTF-8 (or arbitrary bytes) to wide text. Bytes that are not part of a valid
/// UTF-8 sequence become U+DC80..U+DCFF so that toNarrow() restores them.
std::wstring toWide(std::string_view bytes);
/// Wide text back to UTF-8; U+DC80..U+DCFF become the single bytes they stand for.
std::string toNarrow(std::wstring_view text);
/// The same into a buffer the caller keeps, which then needs no allocation
/// once it is large enough (for loops over many paths).
std::string_view toNarrow(std::wstring_view text, std::string& buffer);

/// A file-system path from wide text and back, byte-exact for any file name.
std::filesystem::path toPath(const std::wstring& text);
std::wstring fromPath(const std::filesystem::path& path);

/// Lower-case folding that covers non-ASCII letters independently of the
/// process locale.
wchar_t foldCase(wchar_t c);
std::wstring toLower(std::wstring_view text);

/// Case-insensitive comparison: -1, 0 or 1.
int compareNoCase(std::wstring_view a, std::wstring_view b);

/// Splits on any of the separator characters; runs of separators, and
/// separators at either end, give no empty pieces.
std::vector<std::wstring> splitTokens(std::wstring_view text, std::wstring_view separators = L" ");

/// Trims white space at both ends.
std::wstring trim(std::wstring_view text);

} // namespace Util
} // namespace Kerf
