#include "search/Metadata.h"

#include <utility>

namespace Kerf::QuireLib {

CMetadata::Keys CMetadata::GetKeys() const {
    Keys keys;
    for (const auto& [key, value] : m_values)
        keys.insert(keys.end(), key);
    return keys;
}

std::wstring CMetadata::GetStringValue(const std::wstring& key) const {
    const auto it = m_values.find(key);
    return it == m_values.end() ? std::wstring() : it->second;
}

void CMetadata::SetStringValue(const std::wstring& key, const std::wstring& value) {
    m_values[key] = value;
}

// Bodies run to hundreds of kilobytes: taken over, not copied.
void CMetadata::SetStringValue(const std::wstring& key, std::wstring&& value) {
    m_values[key] = std::move(value);
}

bool CMetadata::HasValue(const std::wstring& key) const {
    return m_values.count(key) != 0;
}

} // namespace Kerf::QuireLib
