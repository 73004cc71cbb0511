#pragma once
// A failed assertion is traced with its source file, line and expression text
// and execution goes on: a wrong assumption must never take the user's work down.

namespace Kerf {
void reportAssertion(const char* file, int line, const char* expression);
/// How many assertions failed in this process (read by tests).
unsigned failedAssertionCount();
} // namespace Kerf

#define KERF_ASSERT(expr)                                                                          \
    do {                                                                                           \
        if (!(expr))                                                                               \
            ::Kerf::reportAssertion(__FILE__, __LINE__, #expr);                                    \
    } while (false)
