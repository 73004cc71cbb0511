#pragma once
// What the index held below a folder when its walk began: each file's path
// (UTF-8, as the file system names it) with its time and size, and whether
// the walk has met the file since. A walk looks up every file it meets here,
// so on a large tree this is the indexer's hottest table and most of its
// memory: the paths share a few large blocks instead of one allocation each.

#include "search/FileState.h"

#include <cstddef>
#include <memory>
#include <string_view>
#include <unordered_map>
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
    /// Adds a file; a path listed twice keeps its first state.
    void add(std::string_view path, const FileState& state);
    /// The file under exactly this path; null when the index did not hold it.
    File* find(std::string_view path);
    std::size_t size() const { return m_files.size(); }

    template <typename Visit> void forEach(Visit&& visit) const {
        for (const auto& [path, file] : m_files)
            visit(path, file);
    }

private:
    std::string_view store(std::string_view path);

    static constexpr std::size_t kBlockSize = 1 << 20;
    std::vector<std::unique_ptr<char[]>> m_blocks;
    std::size_t m_iBlockUsed = kBlockSize;
    std::unordered_map<std::string_view, File> m_files;
};

} // namespace Kerf::Search
