#include "stores/QOSettings.h"

#include "stores/SettingsCache.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <cerrno>
#include <cwchar>
#include <filesystem>

namespace Kerf::QuireLib {

CQOSettings::CQOSettings(const std::wstring& sFolder)
    : m_sFileName(TrailDirectorySlash(sFolder) + kSettingsFileName) {
    if (Trace::isOn()) {
        const std::string detail = "Filing Location=\"" + Util::toNarrow(sFolder) + "\"";
        Trace::tracef("Kerf::QuireLib::CQOSettings::CQOSettings(%s)\n", detail.c_str());
    }
    std::error_code ec;
    if (std::filesystem::exists(Util::toPath(m_sFileName), ec))
        m_pSettings = CSettingsCache::instance().get(m_sFileName);
}

bool CQOSettings::Read(const std::wstring& sKey, std::wstring& sValue) const {
    return m_pSettings != nullptr && m_pSettings->LookupAnySection(sKey, sValue);
}

bool CQOSettings::Read(const std::wstring& sKey, long& lValue) const {
    std::wstring sText;
    if (!Read(sKey, sText) || sText.empty())
        return false;
    wchar_t* end = nullptr;
    errno = 0;
    const long value = std::wcstol(sText.c_str(), &end, 10);
    if (errno != 0 || end == sText.c_str() || *end != L'\0')
        return false;
    lValue = value;
    return true;
}

bool CQOSettings::ReadPrefixedOrPlain(const std::wstring& sKey, std::wstring& sValue) const {
    return Read(m_sKeyPrefix + sKey, sValue) || Read(sKey, sValue);
}

} // namespace Kerf::QuireLib
