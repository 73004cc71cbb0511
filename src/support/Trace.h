#pragma once
// Diagnostic trace log. Off unless QOSEARCH_TRACE=1; then every line goes to
// "trace.log" in the per-user application data folder. Formats are printf-style
// because the trace texts are fixed strings with %s / %d fields.

#include <string>

namespace Kerf::Trace {

/// True when tracing was switched on for this process.
bool isOn();

/// Writes one printf-formatted line (a trailing newline is dropped).
void tracef(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Traces "%s()\n" with the qualified function name.
void traceEntry(const char* qualifiedName);

/// Where the trace file is (empty when tracing is off).
std::string traceFilePath();

/// Re-reads QOSEARCH_TRACE; used by tests that switch tracing on.
void reinitialise();

} // namespace Kerf::Trace

#define KERF_TRACE_ENTRY(name) ::Kerf::Trace::traceEntry(name)
