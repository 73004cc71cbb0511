// PDF text through poppler. Poppler has no way to stop a document that makes
// it loop or to bound what it allocates, so the indexer never runs it in its
// own process: the helper program qosearch-pdf-text (PdfTextProgram.cpp)
// reads the document (its pages up to a cap) under a processor and memory
// cap and writes the text into a pipe; the indexer takes the text only when
// the helper ends by itself before the deadline, and kills it otherwise. A
// helper that crashes or runs out of its memory gives no text either. The
// helper is a fresh program, not a fork of the indexer: a forked copy of a
// process whose other threads hold a lock (the allocator's, a library's)
// can wait on that lock forever.

#include "text/DocumentText.h"

#include "support/Paths.h"
#include "support/Strings.h"
#include "support/Trace.h"
#include "support/WriteAll.h"

#include <poppler/cpp/poppler-document.h>
#include <poppler/cpp/poppler-global.h>
#include <poppler/cpp/poppler-page.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace Kerf::QuireLib::DocumentText {
namespace {

void ignorePopplerMessage(const std::string&, void*) {}

// The document as a file in memory, to be the helper's standard input: no
// writing into one pipe while reading from another. -1 when none can be made.
int documentFile(std::span<const std::uint8_t> bytes) {
    const int fd = ::memfd_create("qosearch-pdf", MFD_CLOEXEC);
    if (fd < 0)
        return -1;
    if (!Util::writeAll(fd, bytes.data(), bytes.size()) || ::lseek(fd, 0, SEEK_SET) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// Starts the helper with the document as its input and `out` as its output;
// only those and its error output (to /dev/null) stay open in it, so that
// pipes of other threads' helpers do not keep their readers waiting. 0 when
// none could be started.
pid_t startHelper(const std::string& helper, int document, int out, const Limits& limits) {
    const std::string args[] = {helper,
                                std::to_string(::getpid()),
                                std::to_string(limits.maxPdfPages),
                                std::to_string(limits.maxChars),
                                std::to_string(limits.pdfProcessorTime().count()),
                                std::to_string(limits.maxPdfMemoryBytes)};
    char* argv[std::size(args) + 1] = {};
    for (std::size_t i = 0; i < std::size(args); ++i)
        argv[i] = const_cast<char*>(args[i].c_str());

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, document, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    ::posix_spawnattr_init(&attributes);
    // The calling thread may block signals; the helper starts with none blocked.
    sigset_t none;
    sigemptyset(&none);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    pid_t pid = 0;
    const int error = ::posix_spawn(&pid, helper.c_str(), &actions, &attributes, argv, environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? pid : 0;
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
    static const std::string helper = Paths::helperProgram("qosearch-pdf-text");
    if (helper.empty()) {
        static std::atomic_flag told;
        if (!told.test_and_set())
            Trace::tracef("PDF text: the helper qosearch-pdf-text is not installed\n");
        return {};
    }
    const auto deadline =
        std::min(std::chrono::steady_clock::now() + limits.pdfDeadline, limits.until);
    const int document = documentFile(bytes);
    if (document < 0)
        return {};
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        ::close(document);
        return {};
    }
    const pid_t pid = startHelper(helper, document, fds[1], limits);
    ::close(document);
    ::close(fds[1]);
    if (pid == 0) {
        ::close(fds[0]);
        return {};
    }

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
