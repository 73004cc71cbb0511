#pragma once
// The per-user settings store (organisation: the vendor, application: the
// product): an INI file $XDG_CONFIG_HOME/<vendor>/<product>.conf (default
// ~/.config). The path
// is worked out on every call rather than left to QSettings, which would
// remember the first configuration folder it saw for the rest of the process.

#include <QSettings>
#include <QString>

#include <chrono>
#include <memory>

namespace Kerf::QuireLib {

/// The settings file's path for the current environment.
QString userSettingsPath();

/// A settings object on that file, opened for one read or write.
std::unique_ptr<QSettings> openUserSettings();

/// "Search/AttachmentTextSeconds": the time the text of one message's
/// attachments may take to read while indexing (15 seconds unless set;
/// held within 1 second and 1 hour).
std::chrono::seconds attachmentTextBudget();

} // namespace Kerf::QuireLib
