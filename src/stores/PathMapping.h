#pragma once
// Store lists filled on the other platform name folders the Windows way:
// "\\server\share\rest" or "J:\Jobs\J1001". This maps such a path to where
// the folder is on this computer: first through the [PathMap] section of the
// user's settings file ("J:\=/srv/jobs/", any prefix, longest first), then a
// UNC path through the CIFS mounts of the process ("//server/share" mounted
// at /mnt/x gives /mnt/x/rest; server and share compared without case). A
// path that starts with "/" is already one of this computer's.

#include <string>
#include <utility>
#include <vector>

namespace Kerf::QuireLib {

/// One CIFS mount: the share it shows (and the folder of the share it
/// starts at, "" for the share itself) and where it is mounted.
struct CifsMount {
    std::wstring sServer;
    std::wstring sShare;
    std::wstring sShareFolder; ///< "a/b" when //server/share/a/b is mounted
    std::wstring sMountPoint;
};

/// The CIFS (and SMB3) mounts of a /proc/<pid>/mountinfo text.
std::vector<CifsMount> ParseCifsMounts(const std::string& sMountInfo);

/// Where a store-list path is here, or why it cannot be searched.
struct LocatedPath {
    std::wstring sPath;   ///< the folder on this computer; empty when unmapped
    std::wstring sReason; ///< empty when the folder is there
    bool IsReachable() const { return sReason.empty(); }
};

class CPathMapper {
public:
    using Prefixes = std::vector<std::pair<std::wstring, std::wstring>>;
    static constexpr const wchar_t* kSectionName = L"PathMap";

    CPathMapper(std::vector<CifsMount> mounts, Prefixes prefixes);
    /// The mounts of this process and the [PathMap] of the user's settings
    /// file (a damaged file maps nothing and is traced).
    static CPathMapper ForThisUser();

    /// The path on this computer, without looking at the disk; the reason
    /// when there is none.
    LocatedPath Map(const std::wstring& sStorePath) const;
    /// Map(), and the folder must exist.
    LocatedPath Locate(const std::wstring& sStorePath) const;

private:
    std::vector<CifsMount> m_vMounts;
    Prefixes m_vPrefixes;
};

} // namespace Kerf::QuireLib
