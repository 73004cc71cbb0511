#include "support/Assert.h"

#include "support/Trace.h"

#include <atomic>

namespace Kerf {
namespace {
std::atomic<unsigned> g_failed{0};
}

void reportAssertion(const char* file, int line, const char* expression) {
    ++g_failed;
    Trace::tracef("Assertion failed: %s(%d): %s\n", file, line, expression);
}

unsigned failedAssertionCount() {
    return g_failed.load();
}

} // namespace Kerf
