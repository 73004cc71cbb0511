#pragma once
// Folders where the system expects a file system to be mounted (listed in
// the mount table file) that has none mounted now. Such a folder, left
// behind by a share that is not mounted, lists empty just like a folder
// whose files were all moved away; only this tells the two apart.

#include <string>
#include <unordered_set>

namespace Kerf::Search {

/// The mount points of `expected` (an fstab-like file) that `mounted` (a
/// mounts-like file) does not list. Files that cannot be read count as
/// listing nothing.
std::unordered_set<std::string>
unmountedMountPoints(const std::string& expected = "/etc/fstab",
                     const std::string& mounted = "/proc/self/mounts");

} // namespace Kerf::Search
