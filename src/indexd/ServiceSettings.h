#pragma once
// What the central index's service is told: its settings file (section
// [Central]: "Connection", the libpq connection text; "RoundMinutes", the
// pause between rounds) and its command line (--settings FILE, --once,
// --folder DIR to walk besides the store list's locations).

#include <optional>
#include <string>
#include <vector>

namespace QoIndexd {

inline constexpr const char* kDefaultSettingsFile = "/etc/qosearch/indexd.conf";
inline constexpr int kDefaultRoundMinutes = 15;

struct ServiceSettings {
    std::string conninfo;
    int roundMinutes = kDefaultRoundMinutes;
    bool once = false;
    std::vector<std::wstring> folders;
};

/// The settings, or none with the reason in problem (a usage error, a file
/// that cannot be read or has no connection).
std::optional<ServiceSettings> readServiceSettings(const std::vector<std::string>& args,
                                                   std::string& problem);

} // namespace QoIndexd
