#pragma once
// Who may read a folder: the roles that may list it and open its files
// (read and search rights), as the file system's owner, group, mode and POSIX
// ACL grant them. Roles carry the names of the Unix users and groups; "public"
// stands for everyone. The central index shows a message only to these roles.

#include <optional>
#include <string>
#include <vector>

namespace Kerf::Central {

inline constexpr const char* kEveryone = "public";

/// The roles, sorted; none when the folder's state cannot be read. Ids without
/// a name in the user or group database name no role and are left out.
std::optional<std::vector<std::string>> folderReaders(const std::string& folder);

/// Who may read a folder inside a parent: a user must get through both, so
/// what both name, where "public" in one leaves the other's list as it is.
std::vector<std::string> readersWithin(const std::vector<std::string>& parent,
                                       const std::vector<std::string>& own);

} // namespace Kerf::Central
