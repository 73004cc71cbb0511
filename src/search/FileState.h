#pragma once
// What tells whether a file changed since it was indexed: its modification
// time and its size. Every document carries them in one index term together
// with the path, so that listing the terms below a folder tells what the index
// holds there, and in which state, without loading a stored document.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace Kerf::Search {

struct FileState {
    /// Nanoseconds since 1970: a file saved twice in one second still differs.
    std::int64_t modified = 0;
    /// Bytes; -1 while unknown, which no file on disk ever matches.
    std::int64_t size = -1;

    bool operator==(const FileState&) const = default;
};

/// The file's state as the file system reports it now; none when it cannot.
std::optional<FileState> readFileState(const std::filesystem::path& path);

/// The term text "path", separator, time, separator, size.
std::wstring fileStateText(const std::wstring& path, const FileState& state);
/// Splits a term text made by fileStateText; false when it is not one. The
/// numbers are read from the right, so any character may stand in the path.
bool parseFileStateText(std::wstring_view text, std::wstring_view& path, FileState& state);
bool parseFileStateText(const std::wstring& text, std::wstring& path, FileState& state);

} // namespace Kerf::Search
