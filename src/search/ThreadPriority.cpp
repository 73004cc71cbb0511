#include "search/ThreadPriority.h"

#include "support/Trace.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Kerf::Search {

namespace {
constexpr int kLowestNice = 19;
}

bool lowerCurrentThreadPriority() {
    // On Linux the nice value belongs to the thread, so naming the thread's
    // own id changes this thread only.
    const auto tid = static_cast<id_t>(::syscall(SYS_gettid));
    errno = 0;
    const int current = ::getpriority(PRIO_PROCESS, tid);
    if (errno == 0 &&
        ::setpriority(PRIO_PROCESS, tid, std::min(current + kMildNiceIncrement, kLowestNice)) == 0)
        return true;
    Trace::tracef("Could not lower the priority of an indexing thread: %s\n", std::strerror(errno));
    return false;
}

} // namespace Kerf::Search
