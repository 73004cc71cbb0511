#include "support/Trace.h"

#include "support/Paths.h"
#include "support/Strings.h"

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <vector>

namespace Kerf::Trace {
namespace {

struct TraceState {
    std::mutex mutex;
    bool initialised = false;
    std::shared_ptr<spdlog::logger> logger;
    std::string path;
};

TraceState& state() {
    static TraceState s;
    return s;
}

std::shared_ptr<spdlog::logger> logger() {
    auto& s = state();
    std::lock_guard lock(s.mutex);
    if (!s.initialised) {
        s.initialised = true;
        const char* env = std::getenv("QOSEARCH_TRACE");
        if (env != nullptr && std::strcmp(env, "1") == 0) {
            try {
                s.path = Util::toNarrow(Paths::applicationDataDirectory()) + "trace.log";
                s.logger = std::make_shared<spdlog::logger>(
                    "qosearch", std::make_shared<spdlog::sinks::basic_file_sink_mt>(s.path));
                s.logger->set_pattern("%Y-%m-%d %H:%M:%S.%e [%t] %v");
                s.logger->flush_on(spdlog::level::info);
            } catch (const std::exception&) {
                // A trace file that cannot be written must never stop the program.
                s.logger.reset();
                s.path.clear();
            }
        }
    }
    return s.logger;
}

} // namespace

bool isOn() {
    return logger() != nullptr;
}

void tracef(const char* format, ...) {
    auto log = logger();
    if (!log)
        return;
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    const int needed = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::vector<char> buffer(needed > 0 ? static_cast<size_t>(needed) + 1 : 1);
    std::vsnprintf(buffer.data(), buffer.size(), format, args);
    va_end(args);
    std::string line(buffer.data());
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
        line.pop_back();
    log->info(line);
}

void traceEntry(const char* qualifiedName) {
    if (isOn())
        tracef("%s()\n", qualifiedName);
}

std::string traceFilePath() {
    logger();
    auto& s = state();
    std::lock_guard lock(s.mutex);
    return s.path;
}

void reinitialise() {
    auto& s = state();
    std::lock_guard lock(s.mutex);
    if (s.logger)
        s.logger->flush();
    s.logger.reset();
    s.path.clear();
    s.initialised = false;
}

} // namespace Kerf::Trace
