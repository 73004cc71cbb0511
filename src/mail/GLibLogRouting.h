#pragma once
// libgsf reports damaged files through GLib warnings and criticals, which
// GLib prints on standard error by default. A damaged message file is an
// ordinary event for an indexer, so those lines go to the trace log instead.

namespace Kerf::GLibLog {

/// Installs the handlers; safe to call from any thread, any number of times.
void routeToTrace();

/// How many GLib log lines were routed since the start (read by tests).
unsigned routedCount();

} // namespace Kerf::GLibLog
