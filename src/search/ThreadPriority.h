#pragma once
// Indexing runs beside the user's other work, but the user is waiting for
// the stages that read and index the files: they keep the priority they were
// started with. Only the thread that merely starts and waits for them steps
// back a little.

namespace Kerf::Search {

/// How far the waiting thread steps back: a mild lowering, never the bottom
/// of the range, where any busy program on the desktop would starve it.
constexpr int kMildNiceIncrement = 5;

/// Lowers the calling thread's priority by kMildNiceIncrement nice steps
/// (capped at the lowest priority). Threads it starts afterwards inherit it.
/// False when the system refused; the thread then keeps its priority.
bool lowerCurrentThreadPriority();

} // namespace Kerf::Search
