// Indexing rate and peak memory of the recursive indexer on a generated tree
// of small text files, beside a bare CLucene writer that walks, reads and
// adds the same files on one thread. Each measurement runs in a process of
// its own, so each peak memory figure is that program's alone; both run at
// the indexer's low priority, so other load on the machine weighs on both.
//
//   indexer_bench [--files N] [--rounds R]

#include "search/IndexStorage.h"
#include "search/RecursiveIndexer.h"
#include "search/ThreadPriority.h"
#include "support/Strings.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace Kerf;
using namespace Kerf::Search;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kFilesPerFolder = 100;

/// A few hundred bytes of words, different for every file.
std::string makeBody(std::mt19937& random) {
    static const char* words[] = {"invoice",  "meeting",  "quarterly", "report", "budget",
                                  "contract", "delivery", "schedule",  "review", "minutes",
                                  "approval", "payment",  "customer",  "order",  "project"};
    std::uniform_int_distribution<int> pick(0, std::size(words) - 1);
    std::uniform_int_distribution<int> length(40, 120);
    std::string body;
    for (int i = length(random); i > 0; --i) {
        body += words[pick(random)];
        body += ' ';
        if (i % 13 == 0)
            body += std::to_string(random() % 100000) + '\n';
    }
    return body;
}

std::uintmax_t generateTree(const fs::path& tree, int files) {
    std::mt19937 random(20240611);
    std::uintmax_t bytes = 0;
    for (int i = 0; i < files; ++i) {
        const int folder = i / kFilesPerFolder;
        const fs::path dir =
            tree / ("group " + std::to_string(folder / 10)) / ("folder " + std::to_string(folder));
        if (i % kFilesPerFolder == 0)
            fs::create_directories(dir);
        const std::string body = makeBody(random);
        std::ofstream(dir / ("note " + std::to_string(i) + ".txt"), std::ios::binary) << body;
        bytes += body.size();
    }
    return bytes;
}

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream body;
    body << in.rdbuf();
    return body.str();
}

long peakMemoryKb() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmHWM:", 0) == 0)
            return std::strtol(line.c_str() + 6, nullptr, 10);
    return -1;
}

class CBenchIndexer : public Writer::CRecursiveIndexer {
public:
    using CRecursiveIndexer::CRecursiveIndexer;
    ~CBenchIndexer() override { stop(); }
    QuireLib::CMetadataPtr buildMetadata(const std::wstring& path) override {
        const std::string body = readFile(Util::toPath(path));
        auto record = std::make_shared<QuireLib::CMetadata>();
        record->SetStringValue(L"Location", path);
        record->SetStringValue(L"Body", Util::toWide(body));
        record->SetSize(static_cast<std::int32_t>(body.size()));
        return record;
    }
};

std::size_t runIndexer(const fs::path& tree, const fs::path& root, const fs::path& index) {
    CBenchIndexer indexer({Util::fromPath(tree)}, {L"txt"});
    indexer.setIndexWriter(createIndexWriter(Util::fromPath(root), Util::fromPath(index)));
    indexer.setIndexSearcher(createIndexSearcher(Util::fromPath(index)));
    indexer.go();
    while (!indexer.isFinished())
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    indexer.stop();
    return indexer.getCompletedItemsTotal();
}

std::size_t runBareWriter(const fs::path& tree, const fs::path& root, const fs::path& index) {
    lowerCurrentThreadPriority();
    IndexWriterPtr writer = createIndexWriter(Util::fromPath(root), Util::fromPath(index));
    std::size_t added = 0;
    for (const auto& entry : fs::recursive_directory_iterator(tree)) {
        if (!entry.is_regular_file() || entry.path().extension() != ".txt")
            continue;
        const std::string body = readFile(entry.path());
        Document document;
        Writer::add(document, L"Body", Util::toWide(body));
        Writer::add(document, L"Location", Util::fromPath(entry.path()));
        Writer::add(document, L"Size", static_cast<std::int32_t>(body.size()));
        Writer::add(*writer, document);
        ++added;
    }
    writer->flush();
    writer->close();
    return added;
}

double cpuSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

/// Child process: one measurement, printed as "documents seconds cpu peak-kB".
int measure(const std::string& what, const fs::path& tree, const fs::path& root) {
    const fs::path index = root / "0.4";
    fs::remove_all(root);
    const auto start = Clock::now();
    const std::size_t documents =
        what == "indexer" ? runIndexer(tree, root, index) : runBareWriter(tree, root, index);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::printf("%zu %.3f %.3f %ld\n", documents, seconds, cpuSeconds(), peakMemoryKb());
    return 0;
}

struct Result {
    std::size_t documents = 0;
    double seconds = 0;
    double cpu = 0;
    long peakKb = 0;
};

Result measureInChild(const std::string& what, const fs::path& tree, const fs::path& root) {
    const std::string self = fs::read_symlink("/proc/self/exe").string();
    const std::string command =
        "'" + self + "' --measure " + what + " '" + tree.string() + "' '" + root.string() + "'";
    Result result;
    FILE* child = ::popen(command.c_str(), "r");
    if (child == nullptr || std::fscanf(child, "%zu %lf %lf %ld", &result.documents,
                                        &result.seconds, &result.cpu, &result.peakKb) != 4) {
        std::fprintf(stderr, "measurement of %s failed\n", what.c_str());
        std::exit(1);
    }
    ::pclose(child);
    return result;
}

void print(int round, const char* name, const Result& r, const Result* reference) {
    std::printf("round %d  %-20s %6zu files in %6.2f s = %6.0f files/s, cpu %5.2f s, "
                "peak memory %5.1f MB",
                round, name, r.documents, r.seconds, r.documents / r.seconds, r.cpu,
                r.peakKb / 1024.0);
    if (reference != nullptr)
        std::printf("  [rate %.2f x, cpu %.2f x, memory %.2f x the bare writer]",
                    (r.documents / r.seconds) / (reference->documents / reference->seconds),
                    r.cpu / reference->cpu, static_cast<double>(r.peakKb) / reference->peakKb);
    std::printf("\n");
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 5 && std::string(argv[1]) == "--measure")
        return measure(argv[2], argv[3], argv[4]);

    int files = 20000;
    int rounds = 2;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::string(argv[i]) == "--files")
            files = std::atoi(argv[i + 1]);
        else if (std::string(argv[i]) == "--rounds")
            rounds = std::atoi(argv[i + 1]);
    }
    std::string pattern = (fs::temp_directory_path() / "qosearch-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr)
        return 1;
    const fs::path work = pattern;
    const fs::path tree = work / "tree";
    const fs::path root = work / "Index";

    const auto start = Clock::now();
    const std::uintmax_t bytes = generateTree(tree, files);
    std::printf("tree: %d files in %d folders, %.1f MB of text, written in %.1f s\n", files,
                (files + kFilesPerFolder - 1) / kFilesPerFolder, bytes / 1048576.0,
                std::chrono::duration<double>(Clock::now() - start).count());

    int status = 0;
    for (int round = 1; round <= rounds; ++round) {
        const Result bare = measureInChild("bare", tree, root);
        print(round, "bare CLucene writer", bare, nullptr);
        const Result indexer = measureInChild("indexer", tree, root);
        print(round, "recursive indexer", indexer, &bare);
        if (bare.documents != static_cast<std::size_t>(files) ||
            indexer.documents != static_cast<std::size_t>(files)) {
            std::printf("error: expected %d documents from each\n", files);
            status = 1;
        }
    }
    fs::remove_all(work);
    return status;
}
