#pragma once
// Files to and from the desktop: the clipboard form of a list of files that
// file managers paste (copied or moved), and moving files to the trash.

#include <string>
#include <vector>

class QMimeData;

class CFileMovement {
public:
    /// The files as "text/uri-list", "x-special/gnome-copied-files" ("cut" or
    /// "copy" and the URIs), "application/x-kde-cutselection" ("1" when cut)
    /// and plain text (one path a line).
    static QMimeData* buildMimeData(const std::vector<std::wstring>& paths, bool cut);

    /// Puts the files on the clipboard to be moved, or copied, where pasted.
    static void Cut(const std::vector<std::wstring>& paths);
    static void Copy(const std::vector<std::wstring>& paths);

    /// Moves each file to the trash; returns those that could not be moved.
    static std::vector<std::wstring> Delete(const std::vector<std::wstring>& paths);

    /// True while the path names a file that can be read.
    static bool IsFileReadable(const std::wstring& path);
};
