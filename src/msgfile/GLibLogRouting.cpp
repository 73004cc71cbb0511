#include "msgfile/GLibLogRouting.h"

#include "support/Trace.h"

#include <glib.h>

#include <mutex>

namespace Kerf::GLibLog {
namespace {

thread_local unsigned t_routed = 0;

const char* levelName(GLogLevelFlags level) {
    if (level & G_LOG_LEVEL_ERROR)
        return "error";
    if (level & G_LOG_LEVEL_CRITICAL)
        return "critical";
    if (level & G_LOG_LEVEL_WARNING)
        return "warning";
    if (level & G_LOG_LEVEL_MESSAGE)
        return "message";
    if (level & G_LOG_LEVEL_INFO)
        return "info";
    return "debug";
}

void toTrace(const gchar* domain, GLogLevelFlags level, const gchar* message, gpointer) {
    ++t_routed;
    Trace::tracef("GLib %s [%s]: %s\n", levelName(level), domain != nullptr ? domain : "-",
                  message != nullptr ? message : "");
}

} // namespace

void routeToTrace() {
    static std::once_flag once;
    std::call_once(once, [] {
        g_log_set_default_handler(toTrace, nullptr);
        // Domains with a handler of their own bypass the default handler, and
        // the library's sub-domains are named per source file.
        const auto levels =
            static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK | G_LOG_FLAG_FATAL | G_LOG_FLAG_RECURSION);
        for (const char* domain :
             {"libgsf", "libgsf:msole", "libgsf:utils", "GLib", "GLib-GObject", "GLib-GIO"})
            g_log_set_handler(domain, levels, toTrace, nullptr);
    });
}

unsigned routedOnThisThread() {
    return t_routed;
}

} // namespace Kerf::GLibLog
