#include "search/IndexedFiles.h"

#include <algorithm>
#include <cstring>

namespace Kerf::Search {

void CIndexedFiles::clear() {
    m_files.clear();
    m_blocks.clear();
    m_iBlockUsed = kBlockSize;
}

std::string_view CIndexedFiles::store(std::string_view path) {
    if (path.size() > kBlockSize - m_iBlockUsed) {
        m_blocks.push_back(std::make_unique<char[]>(std::max(kBlockSize, path.size())));
        m_iBlockUsed = 0;
    }
    char* place = m_blocks.back().get() + m_iBlockUsed;
    std::memcpy(place, path.data(), path.size());
    m_iBlockUsed += path.size();
    return {place, path.size()};
}

void CIndexedFiles::add(std::string_view path, const FileState& state) {
    // Stored first so that one lookup does; a path listed twice (which a
    // healthy index never holds) leaves its copy unused.
    m_files.try_emplace(store(path), File{state, false});
}

CIndexedFiles::File* CIndexedFiles::find(std::string_view path) {
    const auto it = m_files.find(path);
    return it == m_files.end() ? nullptr : &it->second;
}

} // namespace Kerf::Search
