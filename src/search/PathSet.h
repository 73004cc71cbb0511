#pragma once
// A set of paths that compares them as the file system does: exactly, byte
// for byte, so two files whose names differ only in letter case are two
// files. It is kept compact: each path is held once, in UTF-8, in a hash set.
// The indexer keeps one entry for every file of a tree, so on a large tree
// this is most of its memory.

#include "support/Strings.h"

#include <cstddef>
#include <string>
#include <unordered_set>

namespace Kerf::Search {

class CPathSet {
public:
    /// Two paths have the same key exactly when they are the same path.
    static std::string key(const std::wstring& path) { return Util::toNarrow(path); }

    bool insert(const std::wstring& path) { return insertKey(key(path)); }
    bool insertKey(std::string key) { return m_keys.insert(std::move(key)).second; }
    bool contains(const std::wstring& path) const { return containsKey(key(path)); }
    bool containsKey(const std::string& key) const { return m_keys.count(key) != 0; }
    bool eraseKey(const std::string& key) { return m_keys.erase(key) != 0; }
    std::size_t size() const { return m_keys.size(); }
    bool empty() const { return m_keys.empty(); }
    void clear() { m_keys.clear(); }

private:
    std::unordered_set<std::string> m_keys;
};

} // namespace Kerf::Search
