#include "search/IndexFolder.h"

#include "search/IndexHealth.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace Kerf::Search {
namespace {

constexpr std::array<const char*, 3> kOwnFileNames = {"qosearch-writer.owner",
                                                      "qosearch-file-states", "qosearch-probe.tmp"};

std::wstring named(const std::string& folder) {
    return L"\"" + Util::toWide(folder) + L"\"";
}

} // namespace

bool isOwnFileName(const std::string& name) {
    for (const char* own : kOwnFileNames)
        if (name == own)
            return true;
    return false;
}

std::wstring refusalOfIndexFolder(const std::string& folder) {
    struct stat info {};
    if (::stat(folder.c_str(), &info) != 0)
        return {};
    if (!S_ISDIR(info.st_mode))
        return L"The index's place " + named(folder) + L" is not a folder.";
    if (info.st_uid != ::geteuid())
        return L"The index folder " + named(folder) + L" belongs to another user (" +
               std::to_wstring(info.st_uid) +
               L"); the index is kept only in a folder of the user's own.";
    if ((info.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return L"The index folder " + named(folder) +
               L" may be written by other users, who could plant files in it; the index is "
               L"kept only in a folder that no one else may write (chmod 700).";
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec)) {
        if (entry.is_symlink(ec))
            return L"The index folder " + named(folder) + L" holds a link, \"" +
                   Util::toWide(entry.path().filename().string()) +
                   L"\", which the index would follow out of its folder; remove it.";
    }
    // Ours, and others may read it at most: the index's text is the user's.
    if ((info.st_mode & 077) != 0 && ::chmod(folder.c_str(), info.st_mode & 0700) != 0)
        Trace::tracef("Could not make %s private: %s\n", folder.c_str(), strerror(errno));
    return {};
}

int openOwnFile(const std::string& path, int flags) {
    return ::open(path.c_str(), flags | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
}

lucene::store::FSDirectory* openIndexFolder(const std::string& folder) {
    lucene::store::FSDirectory* directory =
        lucene::store::FSDirectory::getDirectory(folder.c_str());
    directory->setFileMode(0600);
    return directory;
}

void removeIndexFolder(const std::string& folder) {
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec)) {
        const std::string name = entry.path().filename().string();
        if (!entry.is_directory(ec) && (isIndexFileName(name) || isOwnFileName(name)))
            fs::remove(entry.path(), ec);
    }
    // Only an empty folder goes: whatever else is in it is someone's.
    if (::rmdir(folder.c_str()) != 0 && errno != ENOTEMPTY && errno != EEXIST)
        Trace::tracef("Could not remove %s: %s\n", folder.c_str(), strerror(errno));
}

} // namespace Kerf::Search
