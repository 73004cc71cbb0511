#pragma once
// Tests of folders that cannot be read must work when they run as root too,
// whose power to read past permissions would make every folder readable.

#include <dirent.h>
#include <filesystem>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace QoTest {

/// Takes away the calling thread's power to read past permissions (root has
/// it), so that an unreadable folder is unreadable for the threads it starts.
class WithoutPermissionOverride {
public:
    WithoutPermissionOverride() {
        if (::geteuid() != 0 || !get())
            return;
        __user_cap_data_struct lowered[2] = {m_saved[0], m_saved[1]};
        lowered[0].effective &= ~((1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH));
        m_bLowered = set(lowered);
    }
    ~WithoutPermissionOverride() {
        if (m_bLowered)
            set(m_saved);
    }

private:
    bool get() {
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        return ::syscall(SYS_capget, &header, m_saved) == 0;
    }
    static bool set(__user_cap_data_struct* data) {
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        return ::syscall(SYS_capset, &header, data) == 0;
    }
    __user_cap_data_struct m_saved[2] = {};
    bool m_bLowered = false;
};

inline bool canList(const std::filesystem::path& directory) {
    DIR* dir = ::opendir(directory.c_str());
    if (dir != nullptr)
        ::closedir(dir);
    return dir != nullptr;
}

} // namespace QoTest
