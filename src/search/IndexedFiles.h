#pragma once
// What the index held below a folder when its walk began: each file's path
// (UTF-8, as the file system names it) with its time and size, and whether
// the walk has met the file since. A walk looks up every file it meets here,
// so on a large tree this is the indexer's hottest table and most of its
// memory. The files are kept sorted by path in one array, their paths side by
// side in a few large blocks: the files of one folder then lie together, and
// the walk, which meets a folder's files one after another, finds each among
// its neighbours instead of at a random place in memory.

#include "search/FileState.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Kerf::Search {

class CIndexedFiles {
public:
    struct File {
        FileState state;
        bool seen = false;
    };

    void clear();
    void reserve(std::size_t count) { m_files.reserve(count); }
    /// Adds a file. Files come fastest in path order (as the index lists
    /// them); a path listed twice keeps its first state once sorted.
    void add(std::string_view path, const FileState& state);
    /// Orders what was added for find(); call once after the last add().
    void finish();
    /// The file under exactly this path; null when the index did not hold it.
    File* find(std::string_view path);
    std::size_t size() const { return m_files.size(); }

    template <typename Visit> void forEach(Visit&& visit) const {
        for (const Entry& entry : m_files)
            visit(entry.path, entry.file);
    }

private:
    struct Entry {
        std::string_view path;
        File file;
    };

    std::string_view store(std::string_view path);
    /// Points the folder range at the files whose paths begin with folder.
    void selectFolder(std::string_view folder);

    static constexpr std::size_t kBlockSize = 1 << 20;
    std::vector<std::unique_ptr<char[]>> m_blocks;
    std::size_t m_iBlockUsed = kBlockSize;
    std::size_t m_iBlockSize = kBlockSize;
    std::vector<Entry> m_files;
    bool m_bSorted = true;
    /// The folder of the last lookup (with its trailing separator) and the
    /// range of files below it.
    std::string m_sFolder;
    std::size_t m_iFolderBegin = 0;
    std::size_t m_iFolderEnd = 0;
};

} // namespace Kerf::Search
