#include "central/FolderReaders.h"

#include <acl/libacl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/acl.h>
#include <sys/stat.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <type_traits>

namespace Kerf::Central {
namespace {

std::optional<std::string> userName(uid_t uid) {
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr)
        return std::nullopt;
    return std::string(found->pw_name);
}

std::optional<std::string> groupName(gid_t gid) {
    std::vector<char> buffer(65536);
    group entry{};
    group* found = nullptr;
    if (getgrgid_r(gid, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr)
        return std::nullopt;
    return std::string(found->gr_name);
}

constexpr mode_t kReadAndSearch = 05;

bool grants(mode_t bits) {
    return (bits & kReadAndSearch) == kReadAndSearch;
}

mode_t bitsOf(acl_entry_t entry) {
    acl_permset_t permissions = nullptr;
    if (acl_get_permset(entry, &permissions) != 0)
        return 0;
    return (acl_get_perm(permissions, ACL_READ) == 1 ? 04 : 0) |
           (acl_get_perm(permissions, ACL_WRITE) == 1 ? 02 : 0) |
           (acl_get_perm(permissions, ACL_EXECUTE) == 1 ? 01 : 0);
}

// The roles the folder's ACL grants; false when the library reads no ACL
// (a file system without them), and the mode alone then counts. Without
// extended entries the ACL is the mode itself.
bool addAclReaders(const std::string& folder, const struct stat& state,
                   std::vector<std::string>& readers) {
    struct Free {
        void operator()(acl_t acl) const { acl_free(acl); }
    };
    std::unique_ptr<std::remove_pointer_t<acl_t>, Free> acl(
        acl_get_file(folder.c_str(), ACL_TYPE_ACCESS));
    if (!acl)
        return false;
    // The mask limits every entry but the owner's and the others'.
    mode_t mask = 07;
    acl_entry_t entry = nullptr;
    for (int which = ACL_FIRST_ENTRY; acl_get_entry(acl.get(), which, &entry) == 1;
         which = ACL_NEXT_ENTRY) {
        acl_tag_t tag = ACL_UNDEFINED_TAG;
        if (acl_get_tag_type(entry, &tag) == 0 && tag == ACL_MASK)
            mask = bitsOf(entry);
    }
    for (int which = ACL_FIRST_ENTRY; acl_get_entry(acl.get(), which, &entry) == 1;
         which = ACL_NEXT_ENTRY) {
        acl_tag_t tag = ACL_UNDEFINED_TAG;
        if (acl_get_tag_type(entry, &tag) != 0)
            continue;
        const mode_t bits = bitsOf(entry);
        std::optional<std::string> name;
        if (tag == ACL_USER_OBJ && grants(bits)) {
            name = userName(state.st_uid);
        } else if (tag == ACL_GROUP_OBJ && grants(bits & mask)) {
            name = groupName(state.st_gid);
        } else if ((tag == ACL_USER || tag == ACL_GROUP) && grants(bits & mask)) {
            void* qualifier = acl_get_qualifier(entry);
            if (qualifier == nullptr)
                continue;
            name = tag == ACL_USER ? userName(*static_cast<uid_t*>(qualifier))
                                   : groupName(*static_cast<gid_t*>(qualifier));
            acl_free(qualifier);
        } else if (tag == ACL_OTHER && grants(bits)) {
            name = kEveryone;
        }
        if (name)
            readers.push_back(std::move(*name));
    }
    return true;
}

} // namespace

std::optional<std::vector<std::string>> folderReaders(const std::string& folder) {
    struct stat state {};
    if (::stat(folder.c_str(), &state) != 0)
        return std::nullopt;
    std::vector<std::string> readers;
    if (!addAclReaders(folder, state, readers)) {
        if (grants((state.st_mode >> 6) & 07))
            if (auto name = userName(state.st_uid))
                readers.push_back(std::move(*name));
        if (grants((state.st_mode >> 3) & 07))
            if (auto name = groupName(state.st_gid))
                readers.push_back(std::move(*name));
        if (grants(state.st_mode & 07))
            readers.push_back(kEveryone);
    }
    std::sort(readers.begin(), readers.end());
    readers.erase(std::unique(readers.begin(), readers.end()), readers.end());
    return readers;
}

std::vector<std::string> readersWithin(const std::vector<std::string>& parent,
                                       const std::vector<std::string>& own) {
    const auto everyone = [](const std::vector<std::string>& roles) {
        return std::binary_search(roles.begin(), roles.end(), std::string(kEveryone));
    };
    if (everyone(parent))
        return own;
    if (everyone(own))
        return parent;
    std::vector<std::string> both;
    std::set_intersection(parent.begin(), parent.end(), own.begin(), own.end(),
                          std::back_inserter(both));
    return both;
}

} // namespace Kerf::Central
