#pragma once
// libgsf reports damaged files through GLib warnings and criticals, which
// GLib prints on standard error by default. A damaged message file is an
// ordinary event for an indexer, so those lines go to the trace log instead.

namespace Kerf::GLibLog {

/// Installs the handlers; safe to call from any thread, any number of times.
void routeToTrace();

/// How many were routed from the calling thread: a reader compares the
/// count before and after reading to learn that the file was damaged.
unsigned routedOnThisThread();

} // namespace Kerf::GLibLog
