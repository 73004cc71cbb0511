#pragma once
// Where the central index is and which folders it covers, as the settings
// say (group "Central Index": "Connection", a libpq connection text, and
// "Roots", the folders the service walks). Chosen locations under a root are
// asked of the central index; the others of the per-user index.

#include <chrono>
#include <string>
#include <vector>

namespace Kerf::Central {

/// How long the central index has to answer before the per-user index
/// answers for it.
inline constexpr std::chrono::seconds kAnswerWithin{2};

struct CentralIndexSettings {
    std::string conninfo;
    std::vector<std::wstring> roots;

    bool isSet() const { return !conninfo.empty() && !roots.empty(); }
};

/// The final status's note when the per-user index answered for the central
/// one: "Searched the per-user index instead of the central index: " + reason.
std::wstring fallbackNotice(const std::wstring& reason);
/// Its note when the central index failed after it had answered: its
/// locations have no matches in the list.
std::wstring failureNotice(const std::wstring& reason);
/// Its note when the central index failed part-way through its rows: the
/// list holds the matches that came before.
std::wstring interruptedNotice(const std::wstring& reason);

/// The user's settings, and for what they leave unset the [Central Index]
/// section of the firm's settings files (CSettingsLayers); nothing set when
/// neither names it.
CentralIndexSettings readCentralIndexSettings();

/// The locations under one of the roots (central) and the rest (local), each
/// in the order given.
void splitLocations(const CentralIndexSettings& settings,
                    const std::vector<std::wstring>& locations, std::vector<std::wstring>& central,
                    std::vector<std::wstring>& local);

} // namespace Kerf::Central
