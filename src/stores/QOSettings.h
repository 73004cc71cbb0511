#pragma once
// The product's settings as seen from one filing location: the file
// "EmailFiling.cfg" in that folder, read through the shared settings cache.
// Keys may be looked up with the object's key prefix first and plain second.

#include "stores/SettingsFile.h"

#include <memory>
#include <string>

namespace Kerf::QuireLib {

class CQOSettings {
public:
    static constexpr const wchar_t* kSettingsFileName = L"EmailFiling.cfg";

    /// Reads sFolder + "EmailFiling.cfg". A folder without that file gives
    /// settings that hold nothing; a file that cannot be parsed throws
    /// CSettingsFileException.
    explicit CQOSettings(const std::wstring& sFolder);
    /// Settings already read, such as the firm's and the user's files
    /// together (CSettingsLayers::ProductSettings()).
    CQOSettings(std::shared_ptr<const CSettingsFile> pSettings, std::wstring sFileName)
        : m_sFileName(std::move(sFileName)), m_pSettings(std::move(pSettings)) {}

    /// The prefix starts as "*"; a caller may narrow it, for example to a domain.
    const std::wstring& GetKeyPrefix() const { return m_sKeyPrefix; }
    void SetKeyPrefix(const std::wstring& sPrefix) { m_sKeyPrefix = sPrefix; }

    /// The key's value in the first section that holds it; false when none does.
    bool Read(const std::wstring& sKey, std::wstring& sValue) const;
    /// As above for a decimal number; false when missing or not a number.
    bool Read(const std::wstring& sKey, long& lValue) const;
    /// Tries the prefixed key, then the plain key.
    bool ReadPrefixedOrPlain(const std::wstring& sKey, std::wstring& sValue) const;

    /// The settings file this object reads.
    const std::wstring& GetFileName() const { return m_sFileName; }

private:
    std::wstring m_sFileName;
    std::wstring m_sKeyPrefix = L"*";
    std::shared_ptr<const CSettingsFile> m_pSettings;
};

} // namespace Kerf::QuireLib
