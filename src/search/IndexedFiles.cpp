#include "search/IndexedFiles.h"

#include <algorithm>
#include <cstring>

namespace Kerf::Search {

void CIndexedFiles::clear() {
    m_files.clear();
    m_blocks.clear();
    m_iBlockUsed = m_iBlockSize = kBlockSize;
    m_bSorted = true;
    m_sFolder.clear();
    m_iFolderBegin = m_iFolderEnd = 0;
}

std::string_view CIndexedFiles::store(std::string_view path) {
    if (path.size() > m_iBlockSize - m_iBlockUsed) {
        m_iBlockSize = std::max(kBlockSize, path.size());
        m_blocks.push_back(std::make_unique<char[]>(m_iBlockSize));
        m_iBlockUsed = 0;
    }
    char* place = m_blocks.back().get() + m_iBlockUsed;
    std::memcpy(place, path.data(), path.size());
    m_iBlockUsed += path.size();
    return {place, path.size()};
}

void CIndexedFiles::add(std::string_view path, const FileState& state) {
    if (!m_files.empty() && path < m_files.back().path)
        m_bSorted = false;
    m_files.push_back(Entry{store(path), File{state, false}});
}

void CIndexedFiles::finish() {
    const auto byPath = [](const Entry& a, const Entry& b) { return a.path < b.path; };
    // The index lists its terms in an order of its own, which differs from
    // the order of UTF-8 bytes only for rare characters.
    if (!m_bSorted)
        std::stable_sort(m_files.begin(), m_files.end(), byPath);
    m_bSorted = true;
    // A healthy index never holds a path twice; if it does, the first stays.
    const auto samePath = [](const Entry& a, const Entry& b) { return a.path == b.path; };
    m_files.erase(std::unique(m_files.begin(), m_files.end(), samePath), m_files.end());
    m_sFolder.clear();
    m_iFolderBegin = m_iFolderEnd = 0;
}

void CIndexedFiles::selectFolder(std::string_view folder) {
    // Every path that begins with the folder sorts after it, and together.
    const auto first =
        std::lower_bound(m_files.begin(), m_files.end(), folder,
                         [](const Entry& entry, std::string_view key) { return entry.path < key; });
    const auto last = std::partition_point(first, m_files.end(), [&](const Entry& entry) {
        return entry.path.substr(0, folder.size()) == folder;
    });
    m_sFolder.assign(folder);
    m_iFolderBegin = static_cast<std::size_t>(first - m_files.begin());
    m_iFolderEnd = static_cast<std::size_t>(last - m_files.begin());
}

CIndexedFiles::File* CIndexedFiles::find(std::string_view path) {
    const auto slash = path.rfind('/');
    if (slash == std::string_view::npos)
        return nullptr; // the index holds full paths only
    const std::string_view folder = path.substr(0, slash + 1);
    if (folder != m_sFolder)
        selectFolder(folder);
    // Below the folder the paths differ only after it: only names compare.
    const std::string_view name = path.substr(folder.size());
    const auto end = m_files.begin() + static_cast<std::ptrdiff_t>(m_iFolderEnd);
    const auto it = std::lower_bound(m_files.begin() + static_cast<std::ptrdiff_t>(m_iFolderBegin),
                                     end, name, [&](const Entry& entry, std::string_view key) {
                                         return entry.path.substr(folder.size()) < key;
                                     });
    if (it == end || it->path.substr(folder.size()) != name)
        return nullptr;
    return &it->file;
}

} // namespace Kerf::Search
