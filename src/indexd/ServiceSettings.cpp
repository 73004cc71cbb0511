#include "indexd/ServiceSettings.h"

#include "support/Strings.h"

#include <QFileInfo>
#include <QSettings>

namespace QoIndexd {

std::optional<ServiceSettings> readServiceSettings(const std::vector<std::string>& args,
                                                   std::string& problem) {
    ServiceSettings settings;
    std::string file = kDefaultSettingsFile;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--once") {
            settings.once = true;
        } else if (arg == "--settings" || arg == "--folder") {
            if (i + 1 == args.size() || args[i + 1].empty()) {
                problem = arg + " needs a value";
                return std::nullopt;
            }
            const std::string& value = args[++i];
            if (arg == "--settings")
                file = value;
            else
                settings.folders.push_back(Kerf::Util::toWide(value));
        } else {
            problem = "unknown argument \"" + arg + "\"";
            return std::nullopt;
        }
    }
    const QString path = QString::fromStdString(file);
    if (!QFileInfo(path).isReadable()) {
        problem = "the settings file " + file + " cannot be read";
        return std::nullopt;
    }
    QSettings values(path, QSettings::IniFormat);
    if (values.status() != QSettings::NoError) {
        problem = "the settings file " + file + " is damaged";
        return std::nullopt;
    }
    settings.conninfo = values.value("Central/Connection").toString().toStdString();
    if (settings.conninfo.empty()) {
        problem = "the settings file " + file + " names no connection (Central/Connection)";
        return std::nullopt;
    }
    bool number = false;
    const int minutes = values.value("Central/RoundMinutes").toInt(&number);
    if (number && minutes > 0)
        settings.roundMinutes = std::min(minutes, 24 * 60);
    return settings;
}

} // namespace QoIndexd
