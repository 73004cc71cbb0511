#pragma once
// The in-memory record of one indexed item: text values by key and a size.
// The engine knows only this base; file types derive from it.

#include "search/FileState.h"

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace Kerf::QuireLib {

class CMetadata {
public:
    using Keys = std::set<std::wstring>;

    CMetadata() = default;
    virtual ~CMetadata() = default;
    CMetadata(const CMetadata&) = default;
    CMetadata& operator=(const CMetadata&) = default;

    /// Every key present, in the map's (case-sensitive) order.
    Keys GetKeys() const;
    /// Every key with its value, in the same order, without a copy of either.
    const std::map<std::wstring, std::wstring>& GetValues() const { return m_values; }
    /// The value under the key; an absent key gives an empty text.
    std::wstring GetStringValue(const std::wstring& key) const;
    void SetStringValue(const std::wstring& key, const std::wstring& value);
    void SetStringValue(const std::wstring& key, std::wstring&& value);
    bool HasValue(const std::wstring& key) const;

    std::int32_t GetSize() const { return m_iSize; }
    void SetSize(std::int32_t size) { m_iSize = size; }

    /// The file's time and size when it was read; unknown until set.
    const Search::FileState& GetFileState() const { return m_fileState; }
    void SetFileState(const Search::FileState& state) { m_fileState = state; }

private:
    std::map<std::wstring, std::wstring> m_values;
    std::int32_t m_iSize = 0;
    Search::FileState m_fileState;
};

using CMetadataPtr = std::shared_ptr<CMetadata>;

} // namespace Kerf::QuireLib
