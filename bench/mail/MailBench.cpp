// Mail indexing and searching on a generated corpus of saved messages, each
// figure beside a reference measured in the same run:
//   - cold indexing rate of the mail indexer beside a bare CLucene writer
//     adding the same records (read beforehand, so it pays no parsing);
//   - an up-to-date find (walk, comparison with the index, two query passes)
//     beside a plain walk of the tree and a stat walk, which reads each
//     message file's time and size as the update must (in this process, and
//     as `find DIR -name '*.msg' -printf '%T@ %s\n'`);
//   - a find that returns every message;
//   - a change round: 1,000 messages deleted, 100 saved again with other
//     contents and 100 added, then one find, timed, and the count of
//     documents the index then holds (the corpus is put back afterwards);
//   - cold indexing of a corpus whose attachments are real documents (PDF,
//     .docx, .odt, text, attached messages carrying documents) beside the
//     bare writer on the same records;
//   - the peak memory of each, every measurement in a process of its own.
//
//   mail_bench [--messages N] [--documents N] [--workdir DIR] [--reuse-index]
//              [--up-to-date-only]
//   mail_bench --under-load [--messages N] [--workdir DIR]
//   mail_bench --slow-message [--messages N] [--workdir DIR]
//
// --under-load measures only cold indexing, alone and beside two processes
// that keep a processor busy each at the same priority, and their ratio.
// --slow-message measures only cold indexing of N ordinary messages (1,000
// unless told), alone and beside one message whose twelve PDF attachments
// are built to take their reader as long as it allows: the time until the
// ordinary messages are all in the index, and when the slow one is.
// --reuse-index keeps the index of an earlier run over the same corpus and
// leaves out the cold indexing, which takes long on large corpora.
// --up-to-date-only stops after the up-to-date find and its references: the
// figures to watch while working on it, without the long measurements.

#include "CorpusGenerator.h"
#include "DocumentWriter.h"
#include "MsgWriter.h"

#include "cycle/MailSearchCycle.h"
#include "mail/EmailMetadataFile.h"
#include "search/IndexStorage.h"
#include "search/QueuedEventSink.h"
#include "search/ThreadPriority.h"
#include "support/Strings.h"

#include <QGuiApplication>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
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

/// The bytes the index's files take.
std::uintmax_t indexBytes(const fs::path& directory) {
    std::uintmax_t bytes = 0;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(directory, ec))
        if (entry.is_regular_file(ec))
            bytes += entry.file_size(ec);
    return bytes;
}

/// Indexes the corpus into a new index; returns the seconds it took.
double indexCold(const CRecursiveMailIndexer::IndexPlace& place, const fs::path& corpus,
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
                m && m->message == Search::IndexerMessage::EndWork)
                break;
        indexer.stop();
        if (indexer.getCompletedItemsTotal() != expected)
            std::printf("  indexed %zu of %zu\n", indexer.getCompletedItemsTotal(), expected);
    }
    const double seconds = secondsSince(start);
    std::printf("mail indexer, cold:        %8.0f messages/s  (%zu in %.2f s), index %.1f MB\n",
                static_cast<double>(expected) / seconds, expected, seconds,
                static_cast<double>(indexBytes(Util::toPath(place.directory))) / 1e6);
    return seconds;
}

/// Cold indexing with two processes beside it that keep a processor busy
/// each at the same (normal) priority, against the same indexing alone: the
/// user waits for this work while other programs run.
void indexColdUnderLoad(const fs::path& root, const fs::path& corpus, std::size_t expected) {
    std::printf("alone:\n");
    const double alone = indexCold(placeIn(root), corpus, expected);
    pid_t busy[2] = {};
    for (pid_t& pid : busy) {
        pid = fork();
        if (pid == 0) {
            volatile unsigned long spin = 0;
            for (;;)
                spin = spin + 1;
        }
    }
    std::printf("beside two busy processes:\n");
    const double loaded = indexCold(placeIn(root), corpus, expected);
    for (const pid_t pid : busy) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    fs::remove_all(root);
    std::printf("cold indexing beside two busy processes %.2f s, alone %.2f s: %.2f times as long "
                "(target at most 3)\n",
                loaded, alone, loaded / alone);
}

/// A mail indexer that notes when the last of the ordinary messages and
/// when the slow one is in the index.
class TimedIndexer : public CRecursiveMailIndexer {
public:
    TimedIndexer(std::shared_ptr<Search::IEventSink> sink, const fs::path& folder,
                 const IndexPlace& place, std::wstring slow, std::size_t ordinary)
        : CRecursiveMailIndexer(std::move(sink), SearchCriteria(), {Util::fromPath(folder)},
                                Search::createIndexSearcher(place.directory), place),
          m_sSlow(std::move(slow)), m_iOrdinary(ordinary) {}
    ~TimedIndexer() override { stop(); }
    double ordinaryDone = 0;
    double slowDone = 0;

protected:
    void endUpdatingIndexItem(const std::wstring& location) override {
        CRecursiveMailIndexer::endUpdatingIndexItem(location);
        if (location == m_sSlow)
            slowDone = secondsSince(m_start);
        else if (++m_iIndexed == m_iOrdinary)
            ordinaryDone = secondsSince(m_start);
    }

private:
    const Clock::time_point m_start = Clock::now();
    std::wstring m_sSlow;
    std::size_t m_iOrdinary;
    std::size_t m_iIndexed = 0;
};

/// Seconds until the ordinary messages of the folder are indexed, and until
/// the slow one is (0 when there is none).
std::pair<double, double> indexBeside(const fs::path& folder, const fs::path& slow,
                                      std::size_t ordinary, const fs::path& root) {
    const CRecursiveMailIndexer::IndexPlace place = placeIn(root);
    { CRecursiveMailIndexer opener(place); }
    auto sink = std::make_shared<Search::CQueuedEventSink>();
    TimedIndexer indexer(sink, folder, place, Util::fromPath(slow), ordinary);
    indexer.go();
    while (true)
        if (auto m = sink->take(std::chrono::milliseconds(50));
            m && m->message == Search::IndexerMessage::EndWork)
            break;
    indexer.stop();
    fs::remove_all(root);
    return {indexer.ordinaryDone, indexer.slowDone};
}

void slowMessageBeside(const fs::path& work, const fs::path& corpus, std::size_t ordinary) {
    const fs::path folder = work / ("with-slow-" + std::to_string(ordinary));
    const fs::path slow = folder / "slow documents.msg";
    if (!fs::exists(slow)) {
        fs::remove_all(folder);
        fs::copy(corpus, folder, fs::copy_options::recursive);
        fs::remove(folder / "complete");
        QoMsg::MsgMessage message;
        message.subject = L"Twelve slow documents";
        for (int i = 1; i <= 12; ++i)
            message.attachments.push_back(
                {1, L"slow" + std::to_wstring(i) + L".pdf", QoMsg::slowPdfDocument(), nullptr});
        QoMsg::writeMsgFile(slow, message);
    }
    const fs::path root = work / ("slow-index-" + std::to_string(getpid()));
    const double alone = indexBeside(corpus, slow, ordinary, root).first;
    const auto [beside, slowDone] = indexBeside(folder, slow, ordinary, root);
    std::printf("%zu ordinary messages indexed alone in %.2f s, beside the slow message in "
                "%.2f s (%.2f times as long); the slow message was indexed after %.2f s\n",
                ordinary, alone, beside, beside / alone, slowDone);
}

/// The records written by one thread through CLucene alone, each text field
/// stored and analysed by its standard analyzer (no stop words): the
/// reference the mail indexer is measured against.
void bareWriter(const fs::path& root, const std::vector<fs::path>& files) {
    std::vector<std::shared_ptr<CEmailMetadata_File>> records;
    records.reserve(files.size());
    for (const auto& file : files)
        records.push_back(std::make_shared<CEmailMetadata_File>(Util::fromPath(file), true));
    fs::remove_all(root);
    fs::create_directories(root / "0.4");
    static const wchar_t* noStopWords[] = {nullptr};
    lucene::analysis::standard::StandardAnalyzer analyzer(noStopWords);
    auto writer =
        std::make_unique<lucene::index::IndexWriter>((root / "0.4").c_str(), &analyzer, true);
    writer->setMaxFieldLength(1000000);
    const auto add = [](Search::Document& doc, const std::wstring& name,
                        const std::wstring& value) {
        using lucene::document::Field;
        doc.add(*new Field(name.c_str(), Search::toStoredText(value).c_str(),
                           static_cast<int>(Field::STORE_YES) |
                               static_cast<int>(Field::INDEX_TOKENIZED)));
    };
    const auto start = Clock::now();
    for (const auto& record : records) {
        Search::Document doc;
        for (const auto& key : record->GetKeys())
            add(doc, key, record->GetStringValue(key));
        add(doc, L"Size", std::to_wstring(record->GetSize()));
        add(doc, L"SentDate",
            Search::Writer::dateToString(Dates::fromOleDate(record->GetSentDate().m_dt)));
        add(doc, L"EmbeddedAttachments", std::to_wstring(record->GetEmbeddedAttachments()));
        add(doc, L"NonEmbeddedAttachments", std::to_wstring(record->GetNonEmbeddedAttachments()));
        if (!record->GetAttachmentText().empty())
            add(doc, L"Attachments", record->GetAttachmentText());
        writer->addDocument(&doc);
    }
    writer->flush();
    const double seconds = secondsSince(start);
    writer->close();
    std::printf("bare CLucene writer:       %8.0f records/s   (%zu in %.2f s), index %.1f MB\n",
                static_cast<double>(records.size()) / seconds, records.size(), seconds,
                static_cast<double>(indexBytes(root / "0.4")) / 1e6);
}

/// What the update must read anyway: every message file's time and size.
void statWalk(const fs::path& corpus) {
    const auto start = Clock::now();
    std::size_t n = 0;
    long long bytes = 0;
    for (const auto& entry : fs::recursive_directory_iterator(corpus)) {
        if (entry.path().extension() != ".msg")
            continue;
        struct stat info {};
        if (::stat(entry.path().c_str(), &info) == 0 && S_ISREG(info.st_mode)) {
            ++n;
            bytes += info.st_size;
        }
    }
    std::printf("stat walk of the tree:     %8.3f s (%zu files, %lld MB)\n", secondsSince(start), n,
                bytes >> 20);
}

void findCommand(const fs::path& corpus) {
    const std::string command =
        "find '" + corpus.string() + "' -name '*.msg' -printf '%T@ %s\\n' > /dev/null";
    const auto start = Clock::now();
    const int status = std::system(command.c_str());
    std::printf("find -printf '%%T@ %%s':    %8.3f s%s\n", secondsSince(start),
                status == 0 ? "" : "  (find failed)");
}

std::size_t documentsIn(const CRecursiveMailIndexer::IndexPlace& place) {
    auto searcher = Search::createIndexSearcher(place.directory);
    return static_cast<std::size_t>(searcher->getReader()->numDocs());
}

SearchCriteria matchingNothing() {
    SearchCriteria criteria;
    criteria.m_sSubject = L"zzzqqq";
    return criteria;
}

/// Deletes 1,000 messages (moved aside), saves 100 again with other contents
/// and adds 100, times one find, then puts the corpus back as it was.
void changeRound(const CRecursiveMailIndexer::IndexPlace& place, const fs::path& corpus,
                 const fs::path& work, std::vector<fs::path> files) {
    std::sort(files.begin(), files.end());
    const std::size_t removedCount = std::min<std::size_t>(1000, files.size() / 3);
    const std::size_t changedCount = std::min<std::size_t>(100, files.size() / 3);
    const fs::path aside = work / "round-aside";
    const fs::path originals = work / "round-originals";
    const fs::path added = corpus / "round-added";
    fs::remove_all(aside);
    fs::remove_all(originals);
    fs::remove_all(added);
    fs::create_directories(aside);
    fs::create_directories(originals);
    fs::create_directories(added);
    std::mt19937_64 rng(13);
    const std::size_t step = files.size() / (removedCount + changedCount);
    std::vector<std::pair<fs::path, fs::path>> moved, saved;
    for (std::size_t i = 0; i < removedCount + changedCount; ++i) {
        const fs::path& file = files[i * step];
        const fs::path keep = (i < removedCount ? aside : originals) / std::to_string(i);
        if (i < removedCount) {
            fs::rename(file, keep);
            moved.emplace_back(file, keep);
        } else {
            fs::copy_file(file, keep);
            QoMsg::writeMsgFile(file, QoMsg::randomMessage(rng));
            saved.emplace_back(file, keep);
        }
    }
    for (std::size_t i = 0; i < changedCount; ++i)
        QoMsg::writeMsgFile(added / ("added" + std::to_string(i) + ".msg"),
                            QoMsg::randomMessage(rng));

    const auto start = Clock::now();
    findNow(place, corpus, matchingNothing());
    const double seconds = secondsSince(start);
    std::printf("change round (%zu deleted, %zu saved again, %zu added): %.3f s; the index holds "
                "%zu documents (expected %zu)\n",
                removedCount, changedCount, changedCount, seconds, documentsIn(place),
                files.size() - removedCount + changedCount);

    for (const auto& [file, keep] : moved)
        fs::rename(keep, file);
    for (const auto& [file, keep] : saved)
        fs::copy_file(keep, file, fs::copy_options::overwrite_existing);
    fs::remove_all(added);
    fs::remove_all(aside);
    fs::remove_all(originals);
    findNow(place, corpus, matchingNothing());
    std::printf("  corpus put back; the index holds %zu documents again\n", documentsIn(place));
}

/// The corpus of `messages` below `work`, generated once and kept.
fs::path corpusOf(const fs::path& work, const std::string& name, std::size_t messages,
                  bool withDocuments) {
    const fs::path corpus = work / (name + "-" + std::to_string(messages));
    if (fs::exists(corpus / "complete"))
        return corpus;
    std::printf("generating %zu messages in %s\n", messages, corpus.c_str());
    fs::remove_all(corpus);
    if (withDocuments) {
        // The PDF writer needs a GUI application; none is left behind for
        // the measurement processes.
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        int argc = 1;
        char name0[] = "mail_bench";
        char* argv[] = {name0, nullptr};
        QGuiApplication app(argc, argv);
        std::mt19937_64 rng(11);
        const QoMsg::DocumentPool pool = QoMsg::documentPool(rng, 12);
        QoMsg::generateCorpus(corpus, messages, 7, &pool);
    } else {
        QoMsg::generateCorpus(corpus, messages, 7);
    }
    std::FILE* mark = std::fopen((corpus / "complete").c_str(), "w");
    if (mark)
        std::fclose(mark);
    return corpus;
}

} // namespace

int main(int argc, char** argv) {
    std::size_t messages = 20000;
    std::size_t documentMessages = 2000;
    fs::path work = fs::temp_directory_path() / "qosearch-mail-bench";
    bool reuseIndex = false;
    bool underLoad = false;
    bool upToDateOnly = false;
    bool slowMessage = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--slow-message") == 0) {
            slowMessage = true;
            messages = 1000;
        }
    }
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--reuse-index") == 0)
            reuseIndex = true;
        else if (std::strcmp(argv[i], "--under-load") == 0)
            underLoad = true;
        else if (std::strcmp(argv[i], "--up-to-date-only") == 0)
            upToDateOnly = true;
        else if (i + 1 < argc && std::strcmp(argv[i], "--messages") == 0)
            messages = std::stoul(argv[++i]);
        else if (i + 1 < argc && std::strcmp(argv[i], "--documents") == 0)
            documentMessages = std::stoul(argv[++i]);
        else if (i + 1 < argc && std::strcmp(argv[i], "--workdir") == 0)
            work = argv[++i];
    }
    const fs::path corpus = corpusOf(work, "corpus", messages, false);
    // The list of files is made only in the measurements that use it: a
    // measurement process inherits the memory of this one, and would count
    // the list in its peak.
    std::size_t fileCount = 0;
    for (const auto& entry : fs::recursive_directory_iterator(corpus))
        fileCount += entry.is_regular_file() && entry.path().extension() == ".msg" ? 1 : 0;
    std::printf("corpus: %zu messages\n\n", fileCount);
    if (slowMessage) {
        slowMessageBeside(work, corpus, fileCount);
        return 0;
    }
    if (underLoad) {
        // At the priority the program is started with, as the busy processes.
        indexColdUnderLoad(work / ("load-index-" + std::to_string(getpid())), corpus, fileCount);
        return 0;
    }
    // Everything else runs a little lower, as the indexer's waiting thread,
    // so that other load on the machine weighs on each figure alike.
    Search::lowerCurrentThreadPriority();

    const fs::path indexRoot = work / ("index-" + std::to_string(messages));
    const fs::path indexedMark = work / ("indexed-" + std::to_string(messages));
    CRecursiveMailIndexer::IndexPlace place{Util::fromPath(indexRoot),
                                            Util::fromPath(indexRoot / "0.4")};
    if (reuseIndex && fs::exists(indexedMark)) {
        std::printf("reusing the index in %s\n\n", indexRoot.c_str());
    } else {
        fs::remove(indexedMark);
        const double bareMb =
            inChild([&] { bareWriter(work / "bare-index", messageFiles(corpus)); });
        std::printf("  peak memory %.0f MB\n", bareMb);
        fs::remove_all(work / "bare-index");
        place = placeIn(indexRoot);
        const double indexMb = inChild([&] { indexCold(place, corpus, fileCount); });
        std::printf("  peak memory %.0f MB\n\n", indexMb);
        std::FILE* mark = std::fopen(indexedMark.c_str(), "w");
        if (mark)
            std::fclose(mark);
    }

    const double walkMb = inChild([&] {
        const auto start = Clock::now();
        std::size_t n = 0;
        for (const auto& entry : fs::recursive_directory_iterator(corpus))
            n += entry.is_regular_file() ? 1 : 0;
        std::printf("plain walk of the tree:    %8.3f s (%zu files)\n", secondsSince(start), n);
    });
    std::printf("  peak memory %.0f MB\n", walkMb);
    const double statMb = inChild([&] { statWalk(corpus); });
    std::printf("  peak memory %.0f MB\n", statMb);
    findCommand(corpus);
    const double upToDateMb = inChild([&] {
        // A criterion that matches nothing: the walk, the comparison with
        // the index and the two query passes without the cost of rows.
        const auto start = Clock::now();
        const std::size_t rows = findNow(place, corpus, matchingNothing());
        std::printf("up-to-date find:           %8.3f s (%zu rows)\n", secondsSince(start), rows);
    });
    std::printf("  peak memory %.0f MB\n", upToDateMb);
    if (upToDateOnly)
        return 0;
    const double allMb = inChild([&] {
        const auto start = Clock::now();
        const std::size_t rows = findNow(place, corpus, SearchCriteria());
        std::printf("find returning every row:  %8.3f s (%zu rows)\n", secondsSince(start), rows);
    });
    std::printf("  peak memory %.0f MB\n\n", allMb);
    const double roundMb = inChild([&] { changeRound(place, corpus, work, messageFiles(corpus)); });
    std::printf("  peak memory %.0f MB\n", roundMb);

    const fs::path documentCorpus = corpusOf(work, "documents", documentMessages, true);
    const std::vector<fs::path> documentFiles = messageFiles(documentCorpus);
    std::printf("\ncorpus with documents attached: %zu messages\n\n", documentFiles.size());
    const double documentBareMb = inChild([&] { bareWriter(work / "bare-index", documentFiles); });
    std::printf("  peak memory %.0f MB\n", documentBareMb);
    const double documentIndexMb =
        inChild([&] { indexCold(placeIn(work / "index"), documentCorpus, documentFiles.size()); });
    std::printf("  peak memory %.0f MB\n", documentIndexMb);
    return 0;
}
