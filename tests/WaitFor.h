#pragma once
// Tests wait on a condition, never for a fixed time: the limit only stops a
// hang, so it leaves room for a slow machine and the sanitizer builds.

#include <chrono>
#include <thread>

namespace QoTest {

/// Whether the condition came to hold within the limit.
template <typename Condition>
bool waitFor(Condition condition, std::chrono::milliseconds limit = std::chrono::minutes(2)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace QoTest
