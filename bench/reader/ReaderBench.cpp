// Reading and parsing saved messages beside a plain read of the same files'
// bytes, in the same run and on the same files: a generated corpus of
// realistic messages (20,000 by default).
//
//   reader_bench [--messages N] [--seed S] [--folder DIR] [--keep]
//
// The cold round meets the files as the indexer does, not yet in memory. It
// goes through the files in chunks: each chunk is dropped from the page
// cache (fdatasync, then posix_fadvise), read plainly (open, read whole,
// close), dropped again and read into records, with the two swapped from one
// chunk to the next, so that the disk's drift during the run falls on both
// alike. The warm rounds follow with everything cached; there the time of
// opening each compound file alone is shown too, as the share of the parse
// that lies in the compound-file library. Wall time and this thread's CPU
// time are both shown: on a busy machine the CPU time is the steadier
// comparison. The ratio is read+parse time over plain-read time.

#include "CorpusGenerator.h"

#include "mail/EmailMetadataFile.h"
#include "msgfile/CompoundStorage.h"
#include "support/Strings.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <span>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

struct Options {
    std::size_t messages = 20000;
    std::uint64_t seed = 2024;
    fs::path folder;
    bool keep = false;
};

std::vector<fs::path> messageFiles(const fs::path& folder) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file() && entry.path().extension() == ".msg")
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

void dropFromCache(std::span<const fs::path> files) {
    for (const fs::path& file : files) {
        const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            continue;
        // Pages not yet written back would stay cached.
        ::fdatasync(fd);
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
        ::close(fd);
    }
}

// The whole file into `buffer`; returns how many bytes were read.
std::size_t readFile(const fs::path& file, std::vector<std::uint8_t>& buffer) {
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return 0;
    std::size_t got = 0;
    struct stat info {};
    if (::fstat(fd, &info) == 0 && info.st_size > 0) {
        buffer.resize(static_cast<std::size_t>(info.st_size));
        while (got < buffer.size()) {
            const ssize_t n = ::read(fd, buffer.data() + got, buffer.size() - got);
            if (n <= 0)
                break;
            got += static_cast<std::size_t>(n);
        }
    }
    ::close(fd);
    return got;
}

// The plain read: each file's bytes into a buffer of its own, as any reader
// of whole files would do.
std::uint64_t plainRead(std::span<const fs::path> files) {
    std::uint64_t checksum = 0;
    for (const fs::path& file : files) {
        std::vector<std::uint8_t> buffer;
        const std::size_t got = readFile(file, buffer);
        if (got > 0)
            checksum += got + buffer[got / 2];
    }
    return checksum;
}

std::uint64_t readAndParse(std::span<const fs::path> files) {
    std::uint64_t checksum = 0;
    for (const fs::path& file : files) {
        const Kerf::QuireLib::CEmailMetadata_File record(Kerf::Util::fromPath(file), true);
        checksum += static_cast<std::uint64_t>(record.GetSize()) +
                    record.GetStringValue(L"Body").size() + record.GetKeys().size();
    }
    return checksum;
}

// Each file's bytes read as the reader reads them, and its compound file
// opened and closed again, nothing more.
std::uint64_t openAlone(std::span<const fs::path> files) {
    std::uint64_t checksum = 0;
    std::vector<std::uint8_t> buffer;
    for (const fs::path& file : files) {
        const std::size_t got = readFile(file, buffer);
        std::string error;
        if (got > 0 && Mapi::CStorage::openMemory(buffer.data(), got, error) != nullptr)
            checksum += got;
    }
    return checksum;
}

double threadCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

struct Timing {
    double wall = 0;
    double cpu = 0;
};

// Wall-clock time, and the CPU time this thread spent (user and kernel),
// which other load on the machine does not inflate.
template <class F> Timing measure(F&& work, std::uint64_t& checksum) {
    const auto start = Clock::now();
    const double cpuStart = threadCpuSeconds();
    checksum += work();
    return {std::chrono::duration<double>(Clock::now() - start).count(),
            threadCpuSeconds() - cpuStart};
}

bool parse(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--messages" && hasValue)
            options.messages = std::stoul(argv[++i]);
        else if (arg == "--seed" && hasValue)
            options.seed = std::stoull(argv[++i]);
        else if (arg == "--folder" && hasValue)
            options.folder = argv[++i];
        else if (arg == "--keep")
            options.keep = true;
        else
            return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options)) {
        std::fprintf(stderr,
                     "usage: reader_bench [--messages N] [--seed S] [--folder DIR] [--keep]\n");
        return 2;
    }
    if (options.folder.empty())
        options.folder = fs::temp_directory_path() /
                         ("qosearch-reader-bench-" + std::to_string(options.messages) + "-" +
                          std::to_string(options.seed));

    // A corpus left by an earlier run with --keep is used again.
    const fs::path marker = options.folder / ".complete";
    if (!fs::exists(marker)) {
        fs::remove_all(options.folder);
        std::printf("generating %zu messages in %s ...\n", options.messages,
                    options.folder.c_str());
        std::fflush(stdout);
        QoMsg::generateCorpus(options.folder, options.messages, options.seed);
        std::FILE* done = std::fopen(marker.c_str(), "w");
        if (done != nullptr)
            std::fclose(done);
    }
    const std::vector<fs::path> files = messageFiles(options.folder);
    std::uint64_t bytes = 0;
    for (const fs::path& file : files)
        bytes += fs::file_size(file);
    std::printf("reader_bench: %zu messages, %.1f MB (%.1f KB each on average)\n\n", files.size(),
                static_cast<double>(bytes) / 1e6, static_cast<double>(bytes) / 1e3 / files.size());
    std::printf("%-7s %-6s %26s %26s %7s\n", "round", "time", "plain read", "read+parse", "ratio");

    std::uint64_t checksum = 0;
    const double perFile = 1e6 / static_cast<double>(files.size());
    auto row = [&](const char* round, const char* kind, double plain, double parsed) {
        char plainText[40];
        char parsedText[40];
        std::snprintf(plainText, sizeof plainText, "%.3f s (%.1f us/msg)", plain, plain * perFile);
        std::snprintf(parsedText, sizeof parsedText, "%.3f s (%.1f us/msg)", parsed,
                      parsed * perFile);
        std::printf("%-7s %-6s %26s %26s %7.2f\n", round, kind, plainText, parsedText,
                    parsed / plain);
    };
    // Cold: chunk by chunk, the order of the two swapped each time.
    constexpr std::size_t kChunk = 500;
    Timing coldPlain;
    Timing coldParsed;
    const std::span<const fs::path> all(files);
    for (std::size_t first = 0, chunk = 0; first < files.size(); first += kChunk, ++chunk) {
        const auto part = all.subspan(first, std::min(kChunk, files.size() - first));
        auto coldPass = [&](Timing& total, auto&& work) {
            dropFromCache(part);
            const Timing t = measure([&] { return work(part); }, checksum);
            total.wall += t.wall;
            total.cpu += t.cpu;
        };
        if (chunk % 2 == 0) {
            coldPass(coldPlain, plainRead);
            coldPass(coldParsed, readAndParse);
        } else {
            coldPass(coldParsed, readAndParse);
            coldPass(coldPlain, plainRead);
        }
    }
    row("cold", "wall", coldPlain.wall, coldParsed.wall);
    row("", "cpu", coldPlain.cpu, coldParsed.cpu);
    std::fflush(stdout);

    Timing opened;
    for (int round = 1; round <= 2; ++round) {
        const Timing plain = measure([&] { return plainRead(all); }, checksum);
        const Timing parsed = measure([&] { return readAndParse(all); }, checksum);
        const Timing open = measure([&] { return openAlone(all); }, checksum);
        if (round == 1 || open.cpu < opened.cpu)
            opened = open;
        const std::string name = "warm " + std::to_string(round);
        row(name.c_str(), "wall", plain.wall, parsed.wall);
        row("", "cpu", plain.cpu, parsed.cpu);
        std::fflush(stdout);
    }
    std::printf("\nwarm, reading each file and opening its compound file alone: %.1f us/msg cpu\n",
                opened.cpu * perFile);
    std::printf("\n(checksum %llu)\n", static_cast<unsigned long long>(checksum));
    if (!options.keep)
        fs::remove_all(options.folder);
    return 0;
}
