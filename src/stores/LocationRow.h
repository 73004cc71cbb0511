#pragma once
// A filing location as every source delivers it: a map from column key to
// text, and the kinds of location told apart by the start of its path.

#include <map>
#include <string>
#include <vector>

namespace Kerf::QuireLib {

using LocationRow = std::map<std::wstring, std::wstring>;
using LocationRows = std::vector<LocationRow>;

namespace LocationKey {
inline constexpr const wchar_t* kStoreId = L"store_id";
inline constexpr const wchar_t* kPrimaryRef = L"primary_ref";
inline constexpr const wchar_t* kSecondaryRef = L"secondary_ref";
inline constexpr const wchar_t* kDescription = L"description";
inline constexpr const wchar_t* kPathLocation = L"path_location";
} // namespace LocationKey

/// The store id that marks a location from a central filing list.
inline constexpr const wchar_t* kCentralStoreId = L"-1";

enum LocationKind {
    eMailClientFolder = 0, ///< "Outlook:\\..."
    eFileSystemFolder = 1, ///< "\\server\...", "File:\\...", "C:\...", or "/..."
    eOtherLocation = 2,    ///< anything else; as a filter kind: every kind
};

/// The kind of a location path.
LocationKind locationKindOf(const std::wstring& sPath);

} // namespace Kerf::QuireLib
