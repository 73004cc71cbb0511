#pragma once
// Parsed settings files kept in memory. A file is parsed again only when its
// last-write time differs from the one it had when it was parsed.

#include "stores/SettingsFile.h"

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace Kerf::QuireLib {

class CSettingsCache {
public:
    /// The cache the whole program shares.
    static CSettingsCache& instance();

    /// The parsed settings of the file, refreshed first. Throws
    /// CSettingsFileException when the file cannot be read or parsed.
    std::shared_ptr<const CSettingsFile> get(const std::wstring& sPath);
    /// Parses the file again when its last-write time changed (or when it is
    /// not held yet).
    void refresh(const std::wstring& sPath);

    size_t size() const;
    /// How many times a file was parsed since the cache was made.
    size_t parseCount() const { return m_nParses; }

private:
    struct Entry {
        std::filesystem::file_time_type lastWrite;
        std::shared_ptr<const CSettingsFile> settings;
    };
    void refreshLocked(const std::wstring& sPath);

    mutable std::mutex m_mutex;
    std::map<std::wstring, Entry> m_mapFiles;
    size_t m_nParses = 0;
};

} // namespace Kerf::QuireLib
