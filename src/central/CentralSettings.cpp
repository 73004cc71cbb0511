#include "central/CentralSettings.h"

#include "stores/UserSettings.h"
#include "support/Strings.h"

namespace Kerf::Central {

std::wstring fallbackNotice(const std::wstring& reason) {
    return L"Searched the per-user index instead of the central index: " + reason;
}

std::wstring failureNotice(const std::wstring& reason) {
    return L"Locations of the central index not searched: " + reason;
}

CentralIndexSettings readCentralIndexSettings() {
    CentralIndexSettings settings;
    const auto values = QuireLib::openUserSettings();
    values->beginGroup(QStringLiteral("Central Index"));
    settings.conninfo = values->value(QStringLiteral("Connection")).toString().toStdString();
    for (const QString& root : values->value(QStringLiteral("Roots")).toStringList())
        if (const QString folder = root.trimmed(); folder.startsWith(QLatin1Char('/')))
            settings.roots.push_back(folder.toStdWString());
    return settings;
}

void splitLocations(const CentralIndexSettings& settings,
                    const std::vector<std::wstring>& locations, std::vector<std::wstring>& central,
                    std::vector<std::wstring>& local) {
    for (const auto& location : locations) {
        const std::wstring folder = TrailDirectorySlash(location);
        bool covered = false;
        for (const auto& root : settings.roots)
            covered = covered || folder.rfind(TrailDirectorySlash(root), 0) == 0;
        (covered ? central : local).push_back(location);
    }
}

} // namespace Kerf::Central
