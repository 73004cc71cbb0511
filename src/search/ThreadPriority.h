#pragma once
// Indexing is background work: its threads must never take the processor
// from the window or from the user's other programs.

namespace Kerf::Search {

/// Moves the calling thread to the lowest scheduling priority an unprivileged
/// process may choose (nice 19). Threads it starts afterwards inherit it.
/// False when the system refused; the thread then keeps its priority.
bool lowerCurrentThreadPriority();

} // namespace Kerf::Search
