#pragma once
// The settings an administrator sets once for every user, under the user's
// own. The firm's file is "<vendor>/<product>/EmailFiling.cfg" below each
// folder of $XDG_CONFIG_DIRS (default /etc/xdg); the user's is
// "EmailFiling.cfg" in the per-user application data folder. They are read
// in that order, each value read later overriding the same key read before,
// so a user's file changes only what it names. The sections they hold:
//
//   [Store Database]  ConnectionString=..., PasswordFile=/etc/qosearch/store-password
//   [Filing Lists]    any name=path of a central filing list
//   [Columns]         LocationPriRefAlias=..., LocationSecRefAlias=..., LocationDescAlias=...
//   [PathMap]         J:\=/mnt/jobs/

#include "stores/QOSettings.h"
#include "stores/SettingsFile.h"

#include <string>
#include <utility>
#include <vector>

namespace Kerf::QuireLib {

/// One settings file and what reading it gave.
struct SettingsFileState {
    enum State { Read, Absent, Unreadable };
    std::wstring sPath;
    State eState = Absent;
    std::wstring sProblem; ///< why an Unreadable file could not be read
};

class CSettingsLayers {
public:
    static constexpr const wchar_t* kStoreDatabaseSection = L"Store Database";
    static constexpr const wchar_t* kFilingListsSection = L"Filing Lists";

    /// The firm's files, least important first (the first folder of
    /// $XDG_CONFIG_DIRS is the most important one).
    static std::vector<std::wstring> SystemFiles();
    /// The user's own file.
    static std::wstring UserFile();
    /// The firm's files, then the user's.
    static CSettingsLayers ForThisUser();

    /// Reads the files in order. A file that is missing is noted as such; one
    /// that cannot be read or parsed is noted with the reason and adds nothing.
    explicit CSettingsLayers(const std::vector<std::wstring>& files);

    const CSettingsFile& Settings() const { return m_settings; }
    /// The merged settings as the product's settings object, which the
    /// column titles are read through.
    CQOSettings ProductSettings() const;
    const std::vector<SettingsFileState>& Files() const { return m_vFiles; }

    /// The value and the file that gave it; false when no file sets the key.
    bool Lookup(const std::wstring& sSection, const std::wstring& sKey, std::wstring& sValue,
                std::wstring* pFrom = nullptr) const;
    /// Every pair of the sections of that name, in the order read, a key set
    /// again later replacing the earlier value.
    CSettingsFile::KeyValues SectionValues(const std::wstring& sSection) const;

private:
    CSettingsFile m_settings;
    std::vector<SettingsFileState> m_vFiles;
    std::vector<CSettingsFile> m_vLayers; ///< what each file that was read gave
};

} // namespace Kerf::QuireLib
