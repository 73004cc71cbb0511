#include "stores/SettingsCache.h"

#include "support/Assert.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <chrono>
#include <ctime>

namespace Kerf::QuireLib {
namespace {

std::string timeText(std::filesystem::file_time_type time) {
    const auto system = std::chrono::file_clock::to_sys(time);
    const std::time_t seconds = std::chrono::system_clock::to_time_t(system);
    std::tm local{};
    localtime_r(&seconds, &local);
    char buffer[32];
    std::strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S", &local);
    return buffer;
}

} // namespace

CSettingsCache& CSettingsCache::instance() {
    static CSettingsCache cache;
    return cache;
}

std::shared_ptr<const CSettingsFile> CSettingsCache::get(const std::wstring& sPath) {
    Trace::tracef("Kerf::QuireLib::CSettingsCache::get(%s)\n", Util::toNarrow(sPath).c_str());
    std::lock_guard lock(m_mutex);
    refreshLocked(sPath);
    return m_mapFiles.at(sPath).settings;
}

void CSettingsCache::refresh(const std::wstring& sPath) {
    std::lock_guard lock(m_mutex);
    refreshLocked(sPath);
}

size_t CSettingsCache::size() const {
    std::lock_guard lock(m_mutex);
    return m_mapFiles.size();
}

void CSettingsCache::refreshLocked(const std::wstring& sPath) {
    Trace::tracef("Kerf::QuireLib::CSettingsCache::refresh(%s)\n", Util::toNarrow(sPath).c_str());
    std::error_code ec;
    const auto lastWrite = std::filesystem::last_write_time(Util::toPath(sPath), ec);
    KERF_ASSERT(!ec);
    if (ec) {
        // A file that went away is no longer served from the cache either.
        m_mapFiles.erase(sPath);
        throw CSettingsFileException(CSettingsFileException::eErrorOpeningFile, sPath, 0,
                                     Util::toWide(ec.message()));
    }
    Trace::tracef("Path=\"%s\", Time On Disk=%s", Util::toNarrow(sPath).c_str(),
                  timeText(lastWrite).c_str());
    const auto it = m_mapFiles.find(sPath);
    if (it == m_mapFiles.end() || it->second.lastWrite != lastWrite) {
        auto settings = std::make_shared<CSettingsFile>();
        settings->readAFile(sPath);
        ++m_nParses;
        m_mapFiles[sPath] = Entry{lastWrite, std::move(settings)};
    }
    Trace::tracef("** cache size is %zx settings files.\n", m_mapFiles.size());
}

} // namespace Kerf::QuireLib
