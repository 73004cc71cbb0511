#include "stores/SettingsLayers.h"

#include "support/Paths.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <cstdlib>
#include <filesystem>

namespace Kerf::QuireLib {

std::vector<std::wstring> CSettingsLayers::SystemFiles() {
    const char* env = std::getenv("XDG_CONFIG_DIRS");
    const std::wstring dirs = Util::toWide(env != nullptr && env[0] != '\0' ? env : "/etc/xdg");
    const std::wstring below =
        Paths::vendorName() + L"/" + Paths::productName() + L"/" + CQOSettings::kSettingsFileName;
    std::vector<std::wstring> files;
    size_t start = 0;
    while (start <= dirs.size()) {
        size_t end = dirs.find(L':', start);
        if (end == std::wstring::npos)
            end = dirs.size();
        const std::wstring dir = dirs.substr(start, end - start);
        // Relative entries are not allowed in the list, and would name a
        // folder that depends on where the program was started.
        if (dir.starts_with(L"/"))
            files.insert(files.begin(), TrailDirectorySlash(dir) + below);
        start = end + 1;
    }
    return files;
}

std::wstring CSettingsLayers::UserFile() {
    return CQOUtils::GetQOAppDataDir() + CQOSettings::kSettingsFileName;
}

CSettingsLayers CSettingsLayers::ForThisUser() {
    std::vector<std::wstring> files = SystemFiles();
    files.push_back(UserFile());
    return CSettingsLayers(files);
}

CSettingsLayers::CSettingsLayers(const std::vector<std::wstring>& files) {
    for (const std::wstring& file : files) {
        SettingsFileState state;
        state.sPath = file;
        std::error_code ec;
        if (!std::filesystem::exists(Util::toPath(file), ec) && !ec) {
            m_vFiles.push_back(state);
            continue;
        }
        try {
            CSettingsFile layer;
            layer.readAFile(file);
            m_settings.readAFile(file);
            m_vLayers.push_back(std::move(layer));
            state.eState = SettingsFileState::Read;
        } catch (const CExceptionBase& e) {
            state.eState = SettingsFileState::Unreadable;
            state.sProblem = e.getMessage();
            Trace::tracef("Settings not read: %s\n", Util::toNarrow(e.getMessage()).c_str());
        }
        m_vFiles.push_back(state);
    }
}

bool CSettingsLayers::Lookup(const std::wstring& sSection, const std::wstring& sKey,
                             std::wstring& sValue, std::wstring* pFrom) const {
    if (!m_settings.Lookup(sSection, sKey, sValue))
        return false;
    if (pFrom != nullptr) {
        // The last file read that sets the key is the one whose value stands.
        size_t layer = m_vLayers.size();
        for (auto it = m_vFiles.rbegin(); it != m_vFiles.rend(); ++it) {
            if (it->eState != SettingsFileState::Read)
                continue;
            std::wstring value;
            if (m_vLayers[--layer].Lookup(sSection, sKey, value)) {
                *pFrom = it->sPath;
                break;
            }
        }
    }
    return true;
}

CQOSettings CSettingsLayers::ProductSettings() const {
    return CQOSettings(std::make_shared<const CSettingsFile>(m_settings), UserFile());
}

CSettingsFile::KeyValues CSettingsLayers::SectionValues(const std::wstring& sSection) const {
    CSettingsFile::KeyValues values;
    for (const auto& section : m_settings.sections())
        if (Util::compareNoCase(section.sName, sSection) == 0)
            values.insert(values.end(), section.keyValues.begin(), section.keyValues.end());
    return values;
}

} // namespace Kerf::QuireLib
