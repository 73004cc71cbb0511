#include "search/IndexHealth.h"

#include "support/Strings.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <unistd.h>

namespace fs = std::filesystem;

namespace Kerf::Search {
namespace {

bool isSystemRefusal(int systemError) {
    switch (systemError) {
    case EACCES:
    case EPERM:
    case EROFS:
    case ENOSPC:
    case EDQUOT:
    case EMFILE:
    case ENFILE:
    case EIO:
    case ENOMEM:
    case EFBIG:
        return true;
    default:
        return false;
    }
}

// CLucene's texts for failures that come from the file system, not from what
// the files hold; errno is not always left as the failing call set it.
bool soundsLikeRefusal(const std::string& text) {
    static const std::array<const char*, 6> phrases = {
        "Lock obtain timed out", "write error",        "Write error", "No space",
        "Permission denied",     "Too many open files"};
    for (const char* phrase : phrases)
        if (text.find(phrase) != std::string::npos)
            return true;
    return false;
}

bool canReadEveryFile(const fs::path& directory) {
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(directory, ec)) {
        if (!entry.is_regular_file(ec))
            continue;
        const int fd = ::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return false;
        char byte = 0;
        const bool readable = ::read(fd, &byte, 1) >= 0;
        ::close(fd);
        if (!readable)
            return false;
    }
    return !ec;
}

bool canWriteBeside(const fs::path& directory) {
    const fs::path probe = directory / "qosearch-probe.tmp";
    const int fd =
        ::open(probe.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    const char block[512] = {};
    const bool written =
        ::write(fd, block, sizeof block) == static_cast<ssize_t>(sizeof block) && ::fsync(fd) == 0;
    ::close(fd);
    ::unlink(probe.c_str());
    return written;
}

// The extensions of the files CLucene writes for a segment, and removes
// from an index's folder when they belong to no segment it knows.
bool hasIndexExtension(std::string_view extension) {
    static const std::array<std::string_view, 15> extensions = {"cfs", "cfx", "fnm", "fdx", "fdt",
                                                                "tii", "tis", "frq", "prx", "del",
                                                                "tvx", "tvd", "tvf", "gen", "nrm"};
    return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
}

} // namespace

IndexFault faultOf(CLuceneError& error, int systemError) {
    switch (error.number()) {
    case CL_ERR_Parse:
    case CL_ERR_TokenMgr:
        return IndexFault::Query;
    case CL_ERR_TooManyClauses:
    case CL_ERR_OutOfMemory:
    case CL_ERR_NullPointer:
    case CL_ERR_AlreadyClosed:
    case CL_ERR_InvalidState:
        return IndexFault::Other;
    case CL_ERR_LockObtainFailed:
        return IndexFault::Unavailable;
    default:
        break;
    }
    if (isSystemRefusal(systemError) || soundsLikeRefusal(error.what() ? error.what() : ""))
        return IndexFault::Unavailable;
    return IndexFault::Damaged;
}

IndexFault confirmDamage(const std::wstring& indexDirectory) {
    const fs::path directory = Util::toPath(indexDirectory);
    try {
        if (!lucene::index::IndexReader::indexExists(directory.c_str()))
            return IndexFault::Other;
    } catch (CLuceneError&) {
        return IndexFault::Unavailable;
    }
    if (!canReadEveryFile(directory) || !canWriteBeside(directory))
        return IndexFault::Unavailable;
    return IndexFault::Damaged;
}

CIndexException toIndexException(std::wstring message, CLuceneError& error, int systemError,
                                 const std::wstring& indexDirectory) {
    IndexFault fault = faultOf(error, systemError);
    if (fault == IndexFault::Damaged && !indexDirectory.empty())
        fault = confirmDamage(indexDirectory);
    const wchar_t* text = error.twhat();
    CExceptionBase cause(text != nullptr ? std::wstring(text) : L"unknown index error");
    if (message.empty())
        return CIndexException(cause.getMessage(), fault);
    return CIndexException(std::move(message), cause, fault);
}

bool isTakenForIndexFile(const std::string& name) {
    // Any name that begins so is read as a generation of the index.
    if (name.rfind("segments", 0) == 0)
        return true;
    const auto dot = name.rfind('.');
    if (dot != std::string::npos)
        return hasIndexExtension(std::string_view(name).substr(dot + 1));
    return name == "deletable";
}

bool isIndexFileName(const std::string& name) {
    // Segment and generation names are numbers in base 36, lower case.
    const auto base36 = [](std::string_view text) {
        return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
            return std::isdigit(c) != 0 || (c >= 'a' && c <= 'z');
        });
    };
    if (name == "segments" || name == "segments.gen" || name == "deletable")
        return true;
    if (name.rfind("segments_", 0) == 0)
        return base36(std::string_view(name).substr(9));
    if (name.size() >= 10 && (name.ends_with("write.lock") || name.ends_with("commit.lock")))
        return true;
    // Segment files: "_", the segment's number (and for deletions and norms
    // "_" and a generation), a dot, one of the extensions CLucene writes.
    const auto dot = name.find('.');
    if (name.size() < 4 || name[0] != '_' || dot == std::string::npos || dot < 2)
        return false;
    const std::string_view stem = std::string_view(name).substr(1, dot - 1);
    const auto underscore = stem.find('_');
    if (!base36(stem.substr(0, underscore)) ||
        (underscore != std::string_view::npos && !base36(stem.substr(underscore + 1))))
        return false;
    const std::string_view extension = std::string_view(name).substr(dot + 1);
    if (hasIndexExtension(extension))
        return true;
    // Separate norms: "f" or "s" and the field's number.
    return extension.size() >= 2 && (extension[0] == 'f' || extension[0] == 's') &&
           std::all_of(extension.begin() + 1, extension.end(),
                       [](unsigned char c) { return std::isdigit(c) != 0; });
}

} // namespace Kerf::Search
