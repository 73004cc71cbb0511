#include "support/Paths.h"

#include "support/Strings.h"
#include "support/Trace.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <pwd.h>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#if !defined(QOSEARCH_VENDOR_NAME) || !defined(QOSEARCH_PRODUCT_NAME)
#error "the build names the vendor and the product (QOSEARCH_VENDOR_NAME, QOSEARCH_PRODUCT_NAME)"
#endif

namespace Kerf::Paths {
namespace {

// Without HOME (a service, a stripped environment) the account's own home
// folder is used: a shared fallback such as /tmp would let any other user
// plant or read the index.
std::string homeFromPasswordDatabase() {
    long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(static_cast<std::size_t>(size > 0 ? size : 16384));
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 &&
        found != nullptr && found->pw_dir != nullptr && found->pw_dir[0] == '/')
        return found->pw_dir;
    throw std::runtime_error("No home folder is known for this user: set HOME");
}

// The nearest `relative` at or above the executable's folder: "<prefix>/bin/.."
// when installed, the top of the build tree when run from there (a few
// folders below it). Empty when there is none.
std::filesystem::path nearExecutable(const std::filesystem::path& relative, bool directory) {
    std::error_code ec;
    const std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (ec)
        return {};
    std::filesystem::path dir = exe.parent_path();
    for (int level = 0; level < 4 && !dir.empty(); ++level) {
        const std::filesystem::path candidate = dir / relative;
        if (directory ? std::filesystem::is_directory(candidate, ec)
                      : std::filesystem::is_regular_file(candidate, ec))
            return candidate;
        if (dir == dir.parent_path())
            break;
        dir = dir.parent_path();
    }
    return {};
}

std::wstring ensureDirectory(const std::wstring& dir) {
    // A folder that cannot be made is reported later, where it is used.
    makePrivateFolder(Util::toPath(dir).string());
    return TrailDirectorySlash(dir);
}

} // namespace

std::error_code makePrivateFolder(const std::string& folder) {
    std::error_code ec;
    const std::filesystem::path path(folder);
    if (std::filesystem::is_directory(path, ec))
        return {};
    if (path.has_parent_path() && path.parent_path() != path) {
        if (const std::error_code above = makePrivateFolder(path.parent_path().string()))
            return above;
    }
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        return {errno, std::generic_category()};
    return {};
}

std::wstring dataHome() {
    const char* xdg = std::getenv("XDG_DATA_HOME");
    if (xdg != nullptr && xdg[0] == '/')
        return Util::toWide(xdg);
    const char* home = std::getenv("HOME");
    std::string base = (home != nullptr && home[0] == '/') ? home : homeFromPasswordDatabase();
    return Util::toWide(base + "/.local/share");
}

std::wstring vendorName() {
    return Util::toWide(QOSEARCH_VENDOR_NAME);
}

std::wstring productName() {
    return Util::toWide(QOSEARCH_PRODUCT_NAME);
}

std::wstring makerDataDirectory() {
    return ensureDirectory(TrailDirectorySlash(dataHome()) + vendorName());
}

std::wstring applicationDataDirectory() {
    return ensureDirectory(makerDataDirectory() + productName());
}

std::wstring installationDirectory() {
    const char* env = std::getenv("QOSEARCH_DATA_DIR");
    if (env != nullptr && env[0] != '\0')
        return TrailDirectorySlash(Util::toWide(env));
    const std::filesystem::path near = nearExecutable("share/qosearch", true);
    return near.empty() ? std::wstring() : TrailDirectorySlash(Util::toWide(near.string()));
}

std::string helperProgram(const std::string& name) {
    return nearExecutable(std::filesystem::path("libexec/qosearch") / name, false).string();
}

} // namespace Kerf::Paths

namespace Kerf::QuireLib {

std::wstring CQOUtils::GetQOAppDataDir() {
    return Paths::applicationDataDirectory();
}

void CQOUtils::traceException(const std::wstring& text) {
    Trace::tracef("%s\n", Util::toNarrow(text).c_str());
}

} // namespace Kerf::QuireLib
