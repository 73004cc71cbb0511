// Mail indexing and searching on a generated corpus of saved messages, each
// figure beside a reference measured in the same run:
//   - cold indexing rate of the mail indexer beside a bare CLucene writer
//     adding the same records (read beforehand, so it pays no parsing);
//   - an up-to-date find (walk, skip, two query passes) beside a plain walk
//     of the tree;
//   - a find that returns every message;
//   - the peak memory of each, every measurement in a process of its own.
//
//   mail_bench [--messages N] [--workdir DIR]

#include "CorpusGenerator.h"

#include "cycle/MailSearchCycle.h"
#include "mail/EmailMetadataFile.h"
#include "search/QueuedEventSink.h"
#include "search/ThreadPriority.h"
#include "support/Strings.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace Kerf;
using namespace Kerf::QuireLib;
using Clock = std::chrono::steady_clock;

namespace {

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Runs the measurement in a child process; returns its peak memory in MB.
double inChild(const std::function<void()>& measure) {
    std::fflush(stdout);
    const pid_t pid = fork();
    if (pid == 0) {
        measure();
        std::fflush(stdout);
        _exit(0);
    }
    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        std::printf("  (the measurement process failed)\n");
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

CRecursiveMailIndexer::IndexPlace placeIn(const fs::path& root) {
    fs::remove_all(root);
    return {Util::fromPath(root), Util::fromPath(root / "0.4")};
}

std::vector<fs::path> messageFiles(const fs::path& corpus) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(corpus))
        if (entry.is_regular_file() && entry.path().extension() == ".msg")
            files.push_back(entry.path());
    return files;
}

/// The results list of a benchmark: counts and keeps rows as a front end would.
class CountingView : public ISearchView {
public:
    void setStatusText(const std::wstring& text) override { status = text; }
    void deleteAllRows() override { rows.clear(); }
    void startOptimisedAdd(std::size_t n) override { rows.reserve(rows.size() + n); }
    void insertItem(const CEmailMetadata& record) override { rows.push_back(record); }
    void finishOptimisedAdd() override {}
    std::size_t getItemCount() const override { return rows.size(); }
    std::vector<CEmailMetadata> rows;
    std::wstring status;
};

/// One whole "Find Now" as the command line runs it; returns the row count.
std::size_t findNow(const CRecursiveMailIndexer::IndexPlace& place, const fs::path& corpus,
                    const SearchCriteria& criteria) {
    CountingView view;
    auto sink = std::make_shared<Search::CQueuedEventSink>();
    CMailSearchCycle cycle(view, sink, place);
    cycle.initialise();
    if (cycle.findNow(criteria, {Util::fromPath(corpus)}))
        while (cycle.isIndexing())
            if (auto message = sink->take(std::chrono::milliseconds(50)))
                cycle.handle(*message);
    if (!cycle.getLastError().empty())
        std::printf("  search failed: %s\n", Util::toNarrow(cycle.getLastError()).c_str());
    return view.rows.size();
}

void indexCold(const CRecursiveMailIndexer::IndexPlace& place, const fs::path& corpus,
               std::size_t expected) {
    { CRecursiveMailIndexer opener(place); } // creates the empty index, as at start-up
    auto sink = std::make_shared<Search::CQueuedEventSink>();
    const auto start = Clock::now();
    {
        CRecursiveMailIndexer indexer(sink, SearchCriteria(), {Util::fromPath(corpus)},
                                      Search::createIndexSearcher(place.directory), place);
        indexer.go();
        while (true)
            if (auto m = sink->take(std::chrono::milliseconds(50));
                m && *m == Search::IndexerMessage::EndWork)
                break;
        indexer.stop();
        if (indexer.getCompletedItemsTotal() != expected)
            std::printf("  indexed %zu of %zu\n", indexer.getCompletedItemsTotal(), expected);
    }
    const double seconds = secondsSince(start);
    std::printf("mail indexer, cold:        %8.0f messages/s  (%zu in %.2f s)\n",
                static_cast<double>(expected) / seconds, expected, seconds);
}

void bareWriter(const fs::path& root, const std::vector<fs::path>& files) {
    std::vector<std::shared_ptr<CEmailMetadata_File>> records;
    records.reserve(files.size());
    for (const auto& file : files)
        records.push_back(std::make_shared<CEmailMetadata_File>(Util::fromPath(file), true));
    fs::remove_all(root);
    auto writer = Search::Writer::create(Util::fromPath(root / "0.4"));
    const auto start = Clock::now();
    for (const auto& record : records) {
        Search::Document doc;
        for (const auto& key : record->GetKeys())
            Search::Writer::add(doc, key, record->GetStringValue(key));
        Search::Writer::add(doc, L"Size", record->GetSize());
        Search::Writer::add(doc, L"SentDate", record->GetSentDate());
        Search::Writer::add(doc, L"EmbeddedAttachments", record->GetEmbeddedAttachments());
        Search::Writer::add(doc, L"NonEmbeddedAttachments", record->GetNonEmbeddedAttachments());
        Search::Writer::add(*writer, doc);
    }
    writer->flush();
    const double seconds = secondsSince(start);
    std::printf("bare CLucene writer:       %8.0f records/s   (%zu in %.2f s)\n",
                static_cast<double>(records.size()) / seconds, records.size(), seconds);
}

} // namespace

int main(int argc, char** argv) {
    // The indexer's threads run at the lowest priority; so does everything
    // here, so that other load on the machine weighs on each figure alike.
    Search::lowerCurrentThreadPriority();
    std::size_t messages = 20000;
    fs::path work = fs::temp_directory_path() / "qosearch-mail-bench";
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--messages") == 0)
            messages = std::stoul(argv[i + 1]);
        else if (std::strcmp(argv[i], "--workdir") == 0)
            work = argv[i + 1];
    }
    const fs::path corpus = work / ("corpus-" + std::to_string(messages));
    if (!fs::exists(corpus / "complete")) {
        std::printf("generating %zu messages in %s\n", messages, corpus.c_str());
        fs::remove_all(corpus);
        QoMsg::generateCorpus(corpus, messages, 7);
        std::FILE* mark = std::fopen((corpus / "complete").c_str(), "w");
        if (mark)
            std::fclose(mark);
    }
    const std::vector<fs::path> files = messageFiles(corpus);
    std::printf("corpus: %zu messages\n\n", files.size());

    const double bareMb = inChild([&] { bareWriter(work / "bare-index", files); });
    std::printf("  peak memory %.0f MB\n", bareMb);
    const auto place = placeIn(work / "index");
    const double indexMb = inChild([&] { indexCold(place, corpus, files.size()); });
    std::printf("  peak memory %.0f MB\n\n", indexMb);

    const double walkMb = inChild([&] {
        const auto start = Clock::now();
        std::size_t n = 0;
        for (const auto& entry : fs::recursive_directory_iterator(corpus))
            n += entry.is_regular_file() ? 1 : 0;
        std::printf("plain walk of the tree:    %8.3f s (%zu files)\n", secondsSince(start), n);
    });
    std::printf("  peak memory %.0f MB\n", walkMb);
    const double upToDateMb = inChild([&] {
        // A criterion that matches nothing: the walk, the skip test and the
        // two query passes without the cost of rows.
        SearchCriteria criteria;
        criteria.m_sSubject = L"zzzqqq";
        const auto start = Clock::now();
        const std::size_t rows = findNow(place, corpus, criteria);
        std::printf("up-to-date find:           %8.3f s (%zu rows)\n", secondsSince(start), rows);
    });
    std::printf("  peak memory %.0f MB\n", upToDateMb);
    const double allMb = inChild([&] {
        const auto start = Clock::now();
        const std::size_t rows = findNow(place, corpus, SearchCriteria());
        std::printf("find returning every row:  %8.3f s (%zu rows)\n", secondsSince(start), rows);
    });
    std::printf("  peak memory %.0f MB\n", allMb);
    return 0;
}
