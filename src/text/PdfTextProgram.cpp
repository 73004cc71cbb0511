// qosearch-pdf-text: the text of the PDF on its standard input, as UTF-8 on its
// standard output. The indexer starts it for each PDF (PdfText.cpp) with
//   qosearch-pdf-text PARENT-PID PAGES CHARACTERS PROCESSOR-SECONDS MEMORY-BYTES
// and takes the text only when it exits with 0. It caps itself before it
// reads anything, so that a document that makes poppler loop or allocate
// without end stops here and not in the indexer.

#include "text/DocumentText.h"

#include "support/Strings.h"
#include "support/WriteAll.h"

#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string_view>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

// An address-space cap would starve the sanitizers' shadow memory.
#if defined(__SANITIZE_ADDRESS__)
#define QOSEARCH_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QOSEARCH_ADDRESS_SANITIZER 1
#endif
#endif

namespace {

template <typename Number> bool parse(std::string_view text, Number& value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

#ifndef QOSEARCH_ADDRESS_SANITIZER
// Address space mapped already (the program and its libraries): the cap
// comes on top.
std::uint64_t mappedBytes() {
    std::FILE* statm = std::fopen("/proc/self/statm", "re");
    unsigned long long pages = 0;
    if (statm != nullptr) {
        if (std::fscanf(statm, "%llu", &pages) != 1)
            pages = 0;
        std::fclose(statm);
    }
    return pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}
#endif

// The document, mapped rather than read into a copy: the indexer hands it
// over as a file in memory. Empty when the input is empty or no file.
std::span<const std::uint8_t> mappedInput() {
    struct stat info {};
    if (::fstat(STDIN_FILENO, &info) != 0 || info.st_size <= 0)
        return {};
    const auto size = static_cast<std::size_t>(info.st_size);
    void* bytes = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, STDIN_FILENO, 0);
    if (bytes == MAP_FAILED)
        return {};
    return {static_cast<const std::uint8_t*>(bytes), size};
}

} // namespace

int main(int argc, char** argv) {
    using Kerf::QuireLib::DocumentText::Limits;
    pid_t parent = 0;
    Limits limits;
    rlim_t seconds = 0;
    std::uint64_t memory = 0;
    if (argc != 6 || !parse(argv[1], parent) || !parse(argv[2], limits.maxPdfPages) ||
        !parse(argv[3], limits.maxChars) || !parse(argv[4], seconds) || !parse(argv[5], memory))
        return 2;
    // Killed with the indexer, even by SIGKILL: an orphan would read on for
    // nobody. The indexer may have died before this was set, and then this
    // process belongs to another one already.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
        return 1;
    // A limit of its own past the indexer's deadline: a process that is
    // never waited for still ends.
    const rlimit processor{seconds, seconds + 1};
    ::setrlimit(RLIMIT_CPU, &processor);
#ifndef QOSEARCH_ADDRESS_SANITIZER
    const std::uint64_t cap = mappedBytes() + memory;
    const rlimit addressSpace{cap, cap};
    ::setrlimit(RLIMIT_AS, &addressSpace);
#endif
    int status = 1;
    try {
        const std::string text = Kerf::Util::toNarrow(
            Kerf::QuireLib::DocumentText::pdfTextInProcess(mappedInput(), limits));
        status = Kerf::Util::writeAll(STDOUT_FILENO, text.data(), text.size()) ? 0 : 1;
    } catch (...) {
    }
    // Without the leak checker's pass at exit: what poppler keeps until the
    // end is not this program's fault, and the status must say only whether
    // the text came.
    ::_exit(status);
}
