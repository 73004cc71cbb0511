// PDF text through poppler. Poppler has no way to stop a document that makes
// it loop or to bound what it allocates, so the indexer never runs it in its
// own process: a forked child reads the document (its pages up to a cap) and
// writes the text into a pipe; the parent takes the text only when the child
// ends by itself before the deadline, and kills it otherwise. A child that
// crashes or runs out of its memory cap gives no text either. Poppler is
// never used in the parent, so none of its locks can be held across the fork.

#include "text/DocumentText.h"

#include "support/Strings.h"

#include <poppler/cpp/poppler-document.h>
#include <poppler/cpp/poppler-global.h>
#include <poppler/cpp/poppler-page.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

// An address-space cap would starve the sanitizers' shadow memory.
#if defined(__SANITIZE_ADDRESS__)
#define QOSEARCH_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QOSEARCH_ADDRESS_SANITIZER 1
#endif
#endif

namespace Kerf::QuireLib::DocumentText {
namespace {

void ignorePopplerMessage(const std::string&, void*) {}

#ifndef QOSEARCH_ADDRESS_SANITIZER
// Address space the process has mapped already: the child's cap comes on top.
// (The sanitizers map terabytes of shadow memory, so their builds set none.)
std::uint64_t mappedBytes() {
    const int fd = ::open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return 0;
    char text[64] = {};
    const ssize_t n = ::read(fd, text, sizeof text - 1);
    ::close(fd);
    if (n <= 0)
        return 0;
    return std::strtoull(text, nullptr, 10) * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}
#endif

bool writeAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

[[noreturn]] void runChild(int out, pid_t parent, std::span<const std::uint8_t> bytes,
                           const Limits& limits) {
    // Killed with the process that waits for it, even by SIGKILL: an orphan
    // would read on for nobody. The parent may have died before this was
    // set, and then the child belongs to another process already.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
        ::_exit(1);
    // And a limit of its own, past the deadline: a process that is never
    // waited for still ends.
    const auto seconds = static_cast<rlim_t>(limits.pdfProcessorTime().count());
    const rlimit processor{seconds, seconds + 1};
    ::setrlimit(RLIMIT_CPU, &processor);
    // Pipes of other threads' children must not stay open here, or their
    // readers would wait for this child too.
    if (out > 3)
        ::close_range(3, static_cast<unsigned>(out) - 1, 0);
    ::close_range(static_cast<unsigned>(out) + 1, ~0u, 0);
    const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (null >= 0)
        ::dup2(null, STDERR_FILENO);
#ifndef QOSEARCH_ADDRESS_SANITIZER
    const std::uint64_t cap = mappedBytes() + limits.maxPdfMemoryBytes;
    const rlimit memory{cap, cap};
    ::setrlimit(RLIMIT_AS, &memory);
#endif
    int status = 1;
    try {
        const std::string text = Util::toNarrow(pdfTextInProcess(bytes, limits));
        status = writeAll(out, text.data(), text.size()) ? 0 : 1;
    } catch (...) {
    }
    ::_exit(status);
}

} // namespace

std::wstring pdfTextInProcess(std::span<const std::uint8_t> bytes, const Limits& limits) {
    poppler::set_debug_error_function(ignorePopplerMessage, nullptr);
    if (bytes.empty() || bytes.size() > static_cast<std::size_t>(INT32_MAX))
        return {};
    std::unique_ptr<poppler::document> document(poppler::document::load_from_raw_data(
        reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size())));
    if (!document || document->is_locked())
        return {};
    const std::size_t maxBytes = limits.maxChars * 4;
    const int pages = std::min(document->pages(), limits.maxPdfPages);
    std::string text;
    for (int i = 0; i < pages && text.size() < maxBytes; ++i) {
        std::unique_ptr<poppler::page> page(document->create_page(i));
        if (!page)
            continue;
        const poppler::byte_array utf8 = page->text().to_utf8();
        text.append(utf8.begin(), utf8.end());
        text.push_back('\n');
    }
    return fromUtf8(text, limits.maxChars);
}

std::wstring pdfText(std::span<const std::uint8_t> bytes, const Limits& limits) {
    if (bytes.empty())
        return {};
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return {};
    const auto deadline =
        std::min(std::chrono::steady_clock::now() + limits.pdfDeadline, limits.until);
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid < 0) {
        ::close(fds[0]);
        ::close(fds[1]);
        return {};
    }
    if (pid == 0) {
        ::close(fds[0]);
        runChild(fds[1], parent, bytes, limits);
    }
    ::close(fds[1]);

    const std::size_t maxBytes = limits.maxChars * 4;
    std::string text;
    bool ended = false;
    bool inTime = true;
    char buffer[64 * 1024];
    while (!ended) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            inTime = false;
            break;
        }
        pollfd wait{fds[0], POLLIN, 0};
        const int ready = ::poll(&wait, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0) {
            inTime = ready < 0 ? false : inTime;
            continue; // the loop checks the deadline
        }
        const ssize_t n = ::read(fds[0], buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            ended = true;
        else if (text.size() < maxBytes)
            text.append(buffer, static_cast<std::size_t>(n));
    }
    ::close(fds[0]);
    if (!inTime)
        ::kill(pid, SIGKILL);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (!inTime || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return {};
    return fromUtf8(text, limits.maxChars);
}

} // namespace Kerf::QuireLib::DocumentText
