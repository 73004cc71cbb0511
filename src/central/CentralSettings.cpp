#include "central/CentralSettings.h"

#include "stores/SettingsLayers.h"
#include "stores/UserSettings.h"
#include "support/Strings.h"

namespace Kerf::Central {

std::wstring fallbackNotice(const std::wstring& reason) {
    return L"Searched the per-user index instead of the central index: " + reason;
}

std::wstring failureNotice(const std::wstring& reason) {
    return L"Locations of the central index not searched: " + reason;
}

std::wstring interruptedNotice(const std::wstring& reason) {
    return L"Locations of the central index searched only in part: " + reason;
}

CentralIndexSettings readCentralIndexSettings() {
    const auto values = QuireLib::openUserSettings();
    values->beginGroup(QStringLiteral("Central Index"));
    QString connection = values->value(QStringLiteral("Connection")).toString();
    QStringList roots = values->value(QStringLiteral("Roots")).toStringList();
    // What the user's own file leaves unset comes from the settings files a
    // firm sets once for everyone (the same [Central Index] keys), so the
    // connection need not be copied into every home folder.
    if (connection.isEmpty() || roots.isEmpty()) {
        const QuireLib::CSettingsLayers layers = QuireLib::CSettingsLayers::ForThisUser();
        std::wstring value;
        if (connection.isEmpty() && layers.Lookup(L"Central Index", L"Connection", value)) {
            connection = QString::fromStdWString(value);
            if (connection.size() >= 2 && connection.startsWith(QLatin1Char('"')) &&
                connection.endsWith(QLatin1Char('"')))
                connection = connection.mid(1, connection.size() - 2);
        }
        if (roots.isEmpty() && layers.Lookup(L"Central Index", L"Roots", value))
            roots = QString::fromStdWString(value).split(QLatin1Char(','));
    }
    CentralIndexSettings settings;
    settings.conninfo = connection.toStdString();
    for (const QString& root : roots)
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
