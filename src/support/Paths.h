#pragma once
// Per-user locations. XDG_DATA_HOME (default ~/.local/share) holds the maker's
// folder (the vendor's name) and below it the product's folder; tests
// redirect it. The build names vendor and product once, in CMake.

#include <string>
#include <system_error>

namespace Kerf::Paths {

/// The vendor's name: the maker's per-user folders and the settings' organisation.
std::wstring vendorName();

/// The product name that names the per-user folders, the settings and the window.
std::wstring productName();

/// The per-user data root: $XDG_DATA_HOME when it is an absolute path,
/// otherwise the home folder's ".local/share" ($HOME, or the account's home
/// from the password database). Throws when no home folder is known.
std::wstring dataHome();

/// $XDG_DATA_HOME/<vendor>/ with a trailing separator, created when missing.
std::wstring makerDataDirectory();

/// $XDG_DATA_HOME/<vendor>/<product>/ with a trailing separator, created when missing.
std::wstring applicationDataDirectory();

/// Makes the folder and any missing folders above it, each 0700: the
/// program's folders hold the user's mail text and are the user's alone.
/// What exists already is left as it is. The error is why a folder could
/// not be made (none when it exists).
std::error_code makePrivateFolder(const std::string& folder);

/// The folder that holds the program's shipped files (schema, help page):
/// $QOSEARCH_DATA_DIR when set, otherwise the nearest "share/qosearch" at or
/// above the executable's folder; empty when neither is there.
std::wstring installationDirectory();

/// The program's helper `name`: the nearest "libexec/qosearch/<name>" at or
/// above the executable's folder, where the package installs its helpers and
/// the build tree puts them too; empty when there is none.
std::string helperProgram(const std::string& name);

} // namespace Kerf::Paths

namespace Kerf::QuireLib {
/// The product's per-user application data folder, with a trailing separator.
struct CQOUtils {
    static std::wstring GetQOAppDataDir();
    /// Passes an exception text to the trace log.
    static void traceException(const std::wstring& text);
};
} // namespace Kerf::QuireLib
