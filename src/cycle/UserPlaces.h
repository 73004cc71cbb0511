#pragma once
// Where this user's index lives and the name that marks the one search window
// working on it. Both fronts and the search cycle reach them here, so that the
// window and the command line always open the same index.

#include <string>

namespace Kerf::QuireLib::UserPlaces {

/// The index format this build reads and writes; an index root holds one
/// folder per format version, and the folders of other versions are removed
/// when a writer opens, so that a new version's index is built afresh once.
/// 0.5: words analysed by the word analyzer; 0.6: addresses indexed.
inline constexpr const wchar_t* kIndexFormatVersion = L"0.6";

/// The product's per-user data folder followed by "Index/", with a trailing separator.
std::wstring buildIndexRootDirectory();
/// The index root followed by kIndexFormatVersion (no trailing separator).
std::wstring buildIndexDirectory();
/// "QOSEARCH_" + the last 250 characters of the lower-cased index directory,
/// every separator of the whole name replaced by "_".
std::wstring buildInstanceName(const std::wstring& indexDirectory);

} // namespace Kerf::QuireLib::UserPlaces
