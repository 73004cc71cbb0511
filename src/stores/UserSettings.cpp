#include "stores/UserSettings.h"

#include "support/Paths.h"

#include <QDir>

#include <algorithm>
#include <cstdlib>

namespace Kerf::QuireLib {

QString userSettingsPath() {
    QString base;
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg != nullptr && xdg[0] == '/') {
        base = QString::fromLocal8Bit(xdg);
    } else {
        const char* home = std::getenv("HOME");
        base = QString::fromLocal8Bit(home != nullptr && home[0] != '\0' ? home : "/tmp") +
               QStringLiteral("/.config");
    }
    return QDir::cleanPath(base + QLatin1Char('/') +
                           QString::fromStdWString(Kerf::Paths::vendorName()) + QLatin1Char('/') +
                           QString::fromStdWString(Kerf::Paths::productName()) +
                           QStringLiteral(".conf"));
}

std::unique_ptr<QSettings> openUserSettings() {
    return std::make_unique<QSettings>(userSettingsPath(), QSettings::IniFormat);
}

std::chrono::seconds attachmentTextBudget() {
    constexpr long long kDefault = 15;
    bool ok = false;
    const long long seconds = openUserSettings()
                                  ->value(QStringLiteral("Search/AttachmentTextSeconds"), kDefault)
                                  .toLongLong(&ok);
    return std::chrono::seconds(ok ? std::clamp(seconds, 1LL, 3600LL) : kDefault);
}

} // namespace Kerf::QuireLib
