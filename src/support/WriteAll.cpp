#include "support/WriteAll.h"

#include <cerrno>
#include <unistd.h>

namespace Kerf::Util {

bool writeAll(int fd, const void* data, std::size_t size) {
    const auto* next = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t n = ::write(fd, next, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        next += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

} // namespace Kerf::Util
