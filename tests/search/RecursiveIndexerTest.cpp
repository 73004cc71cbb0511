#include "EngineTestSupport.h"

#include "search/ThreadPriority.h"
#include "support/Assert.h"

#include <atomic>
#include <future>
#include <map>
#include <set>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace EngineTest;
using namespace Kerf;
using namespace Kerf::Search;

using RecursiveIndexer = IndexerTest;

TEST_F(RecursiveIndexer, IndexesMatchingFilesOnceLeavesOutUnreadableOnesAndSkipsThemLater) {
    const auto a = file("a.txt", "quarterly invoice");
    const auto b = file("sub/deeper/B.TXT", "annual report");
    file("c.dat");
    file("noextension");
    file("sub/bad.txt");
    {
        CTextIndexer indexer(folders, {wide(folders.tree)});
        // A file that cannot be read is left out and the run goes on.
        indexer.onBuild = [](const std::wstring& path) {
            if (path.ends_with(L"bad.txt"))
                throw std::runtime_error("damaged");
        };
        ASSERT_TRUE(indexer.runToEnd());
        EXPECT_EQ(indexer.getCompletedItemsTotal(), 2u);
        EXPECT_EQ(indexer.getItemsFailed(), 1u);
        EXPECT_EQ(indexer.getFilesMatched(), 3u);
        EXPECT_EQ(indexer.getDirectoriesScanned(), 3u);
        EXPECT_TRUE(indexer.getLastError().empty());
    }
    EXPECT_EQ(folders.locations(), sorted({wide(a), wide(b)}));
    auto searcher = folders.searcher();
    auto hits = Searcher::getHits(*searcher, L"annual");
    ASSERT_EQ(hits->length(), 1u);
    EXPECT_EQ(Searcher::getAsInt32(hits->doc(0), L"Size"), 13);

    // A later run knows both from the index; a new file and the one that failed are the only work.
    const auto c = file("sub/c.txt");
    CTextIndexer again(folders, {wide(folders.tree)});
    ASSERT_TRUE(again.runToEnd());
    EXPECT_EQ(again.getFilesMatched(), 4u);
    EXPECT_EQ(sorted(again.argumentsOf("beginBuildingMetadataItem")),
              sorted({wide(folders.tree / "sub/bad.txt"), wide(c)}));
    EXPECT_EQ(folders.locations().size(), 4u);
}

// Empty lists, overlapping roots, a root or an extension listed twice, and
// names that differ only in letter case (the index holds a third spelling).
TEST_F(RecursiveIndexer, EachMatchingFileIsIndexedOnceUnderItsOwnName) {
    const struct {
        const char* what;
        std::vector<std::string> roots; // below the tree; "" is the tree
        CTextIndexer::Paths extensions;
        std::size_t directories, matched;
        std::vector<const char*> indexed;
    } cases[] = {
        {"no folders", {}, {L"txt"}, 0, 0, {}},
        {"no extensions", {""}, {}, 3, 0, {}},
        // Each listed extension matches: the top's files twice per walk of it.
        {"met twice",
         {"", "sub", ""},
         {L"txt", L"TXT"},
         7,
         18,
         {"a.txt", "sub/b.txt", "Mail/Report.txt", "Mail/report.txt"}},
        {"letter case", {"Mail"}, {L"txt"}, 1, 2, {"Mail/Report.txt", "Mail/report.txt"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const IndexFolders place;
        for (const char* name : {"a.txt", "sub/b.txt", "Mail/Report.txt", "Mail/report.txt"})
            QoTest::writeFile(place.tree / name, "filed text");
        std::vector<std::wstring> indexed = {wide(place.tree / "Mail/REPORT.TXT")};
        addDocument(*place.writer(), {{L"Location", indexed.front()}});
        CTextIndexer::Paths roots;
        for (const std::string& root : c.roots)
            roots.push_back(wide(root.empty() ? place.tree : place.tree / root));
        CTextIndexer indexer(place, roots, c.extensions);
        ASSERT_TRUE(indexer.runToEnd());
        EXPECT_EQ(indexer.getDirectoriesScanned(), c.directories);
        EXPECT_EQ(indexer.getFilesMatched(), c.matched);
        EXPECT_EQ(indexer.getCompletedItemsTotal(), c.indexed.size());
        // A run with nothing to do still begins and ends its work.
        EXPECT_EQ(indexer.events().front().name, "beginWorkThread");
        EXPECT_EQ(indexer.events().back().name, "endWorkThread");
        for (const char* name : c.indexed)
            indexed.push_back(wide(place.tree / name));
        EXPECT_EQ(place.locations(), sorted(indexed));
    }
}

TEST_F(RecursiveIndexer, HooksComeInOrderOnTheirOwnThreads) {
    const auto a = file("a.txt");
    const auto b = file("sub/b.txt");
    CTextIndexer indexer(folders, {wide(folders.tree)});
    ASSERT_TRUE(indexer.runToEnd());
    const auto events = indexer.events();
    // The run begins and ends its work on one thread.
    EXPECT_EQ(events.front().thread, events.back().thread);

    // Each stage's hooks, in the order its own thread called them.
    std::map<std::thread::id, std::string> byThread;
    std::map<std::string, size_t> position;
    for (size_t i = 0; i < events.size(); ++i) {
        byThread[events[i].thread] += events[i].name + " ";
        position[events[i].name + Util::toNarrow(events[i].argument)] = i;
    }
    ASSERT_EQ(byThread.size(), 4u);
    // The walk meets a.txt and sub in the order the file system lists them.
    const std::string file = "beginScanningFile endScanningFile ";
    const std::string sub = "beginScanningDirectory " + file + "endScanningDirectory ";
    const std::set<std::string> stages = {
        "beginScanningDirectoryThread beginScanningDirectory " + file + sub +
            "endScanningDirectory endScanningDirectoryThread ",
        "beginScanningDirectoryThread beginScanningDirectory " + sub + file +
            "endScanningDirectory endScanningDirectoryThread ",
        "beginBuildingMetadataThread beginBuildingMetadata beginBuildingMetadataItem "
        "endBuildingMetadataItem beginBuildingMetadataItem endBuildingMetadataItem "
        "endBuildingMetadata endBuildingMetadataThread ",
        "beginUpdatingIndexThread beginUpdatingIndex beginUpdatingIndexItem endUpdatingIndexItem "
        "beginUpdatingIndexItem endUpdatingIndexItem endUpdatingIndex endUpdatingIndexThread "};
    int seen = 0;
    for (const auto& [thread, names] : byThread)
        seen += stages.contains(names);
    EXPECT_EQ(seen, 3);

    // Across threads each file passes the stages in turn; a stage ends only after the one before.
    for (const auto& path : {Util::toNarrow(wide(a)), Util::toNarrow(wide(b))}) {
        EXPECT_LT(position["beginScanningFile" + path],
                  position["beginBuildingMetadataItem" + path]);
        EXPECT_LT(position["beginBuildingMetadataItem" + path],
                  position["beginUpdatingIndexItem" + path]);
    }
    EXPECT_LT(position["endScanningDirectoryThread"], position["endBuildingMetadata"]);
    EXPECT_LT(position["endBuildingMetadataThread"], position["endUpdatingIndex"]);
}

TEST_F(RecursiveIndexer, StopDuringALongWalkEndsAtTheNextEntryAndClosesTheWriter) {
    for (int d = 0; d < 20; ++d)
        for (int f = 0; f < 20; ++f)
            file("d" + std::to_string(d) + "/f" + std::to_string(f) + ".txt");
    CTextIndexer indexer(folders, {wide(folders.tree)});
    std::promise<void> walking;
    int matched = 0;
    indexer.onHook = [&](const std::string& hook, const std::wstring&) {
        if (hook == "beginScanningFile" && ++matched == 10) {
            walking.set_value();
            waitFor([&] { return indexer.isStopRequested(); });
        }
    };
    indexer.go();
    ASSERT_EQ(walking.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
    indexer.stop();

    EXPECT_TRUE(indexer.isFinished());
    EXPECT_EQ(indexer.getFilesMatched(), 10u);
    EXPECT_EQ(indexer.getIndexWriter(), nullptr);
    EXPECT_EQ(folders.locations().size(), indexer.getCompletedItemsTotal());
    // The writer is really gone: another one opens on the same index.
    EXPECT_NO_THROW(folders.writer());
}

TEST_F(RecursiveIndexer, StopReleasesStagesWaitingOnFullQueues) {
    for (int f = 0; f < 40; ++f)
        file("f" + std::to_string(f) + ".txt");
    CTextIndexer indexer(folders, {wide(folders.tree)});
    indexer.setQueueCapacity(2);
    // Any one path fills the path queue.
    indexer.setPathQueueBytes(1);
    // The index stage holds its first item until a stop: both queues fill and both producers wait.
    std::atomic<bool> holding{false};
    indexer.onHook = [&](const std::string& hook, const std::wstring&) {
        if (hook == "beginUpdatingIndexItem") {
            holding = true;
            waitFor([&] { return indexer.isStopRequested(); });
        }
    };
    indexer.go();
    ASSERT_TRUE(waitFor([&] {
        return holding && indexer.getItemsToBeReadCount() == 1 &&
               indexer.getItemsToBeIndexedCount() == 2;
    }));
    auto stopped = std::async(std::launch::async, [&] { indexer.stop(); });
    ASSERT_EQ(stopped.wait_for(std::chrono::seconds(60)), std::future_status::ready);
    EXPECT_TRUE(indexer.isFinished());
    EXPECT_EQ(indexer.getCompletedItemsTotal(), 1u);
    EXPECT_EQ(indexer.getItemsToBeReadCount() + indexer.getItemsToBeIndexedCount(), 0u);
}

TEST_F(RecursiveIndexer, AFailingIndexWriteEndsTheRunWithItsMessageAndNoHang) {
    for (int f = 0; f < 40; ++f)
        file("f" + std::to_string(f) + ".txt");
    CTextIndexer indexer(folders, {wide(folders.tree)});
    indexer.setQueueCapacity(2);
    indexer.onHook = [&](const std::string& hook, const std::wstring&) {
        if (hook == "beginUpdatingIndexItem" && indexer.getCompletedItemsTotal() == 3)
            throw CExceptionBase(L"disk full");
    };
    ASSERT_TRUE(indexer.runToEnd());
    EXPECT_NE(indexer.getLastError().find(L"disk full"), std::wstring::npos);
    EXPECT_EQ(indexer.getCompletedItemsTotal(), 3u);
    EXPECT_EQ(folders.locations().size(), 3u);
}

TEST_F(RecursiveIndexer, RunsAgainAfterFinishingWithTheStagesAtTheCallersPriority) {
    file("a.txt");
    CTextIndexer indexer(folders, {wide(folders.tree)});
    const auto threadPriority = [] {
        return getpriority(PRIO_PROCESS, static_cast<id_t>(::syscall(SYS_gettid)));
    };
    std::vector<int> priorities;
    indexer.onBuild = [&](const std::wstring&) { priorities.push_back(threadPriority()); };
    // The worker, which only waits for the stages, steps back mildly.
    std::atomic<int> workerPriority{-100};
    indexer.onHook = [&](const std::string& hook, const std::wstring&) {
        if (hook == "endWorkThread")
            workerPriority = threadPriority();
    };
    const int callers = threadPriority();
    const unsigned assertionsBefore = failedAssertionCount();
    indexer.go();
    ASSERT_TRUE(waitFor([&] { return indexer.isFinished(); }));
    // The searcher still shows the old index; the first run's file is known all the same.
    file("b.txt");
    indexer.go();
    ASSERT_TRUE(waitFor([&] { return indexer.isFinished(); }));
    EXPECT_EQ(indexer.getCompletedItemsTotal(), 1u);
    indexer.stop();
    EXPECT_EQ(folders.locations().size(), 2u);
    EXPECT_EQ(priorities, (std::vector<int>{callers, callers}));
    EXPECT_EQ(workerPriority, std::min(callers + kMildNiceIncrement, 19));
    EXPECT_EQ(failedAssertionCount(), assertionsBefore);
}

TEST_F(RecursiveIndexer, FilesMetBeforeTheListingIsReadyAreSettledOnceItIs) {
    const auto kept = file("kept.txt");
    const auto held = file("sub/held.txt");
    const auto changed = file("sub/changed.txt", "old");
    const auto gone = file("gone.txt");
    {
        CTextIndexer first(folders, {wide(folders.tree)});
        ASSERT_TRUE(first.runToEnd());
    }
    // Saved again with the same size: only its time tells.
    file("sub/changed.txt", "new");
    fs::last_write_time(changed, fs::last_write_time(changed) + std::chrono::seconds(10));
    fs::remove(gone);
    const auto added = file("sub/added.txt");

    // The listing starts only once the walk has ended, so every file the walk meets waits for it.
    class CLateListing : public CTextIndexer {
    public:
        using CTextIndexer::CTextIndexer;
        std::atomic<bool> walked{false};

    protected:
        void updatePathsIndexed(const std::wstring& root) override {
            waitFor([this] { return walked.load(); });
            CTextIndexer::updatePathsIndexed(root);
        }
        void endScanningDirectory(const std::wstring& directory) override {
            CTextIndexer::endScanningDirectory(directory);
            if (directory == getDirectories().front())
                walked = true;
        }
    };
    CLateListing late(folders, {wide(folders.tree)});
    ASSERT_TRUE(late.runToEnd());
    EXPECT_EQ(late.getFilesMatched(), 4u);
    EXPECT_EQ(sorted(late.argumentsOf("beginBuildingMetadataItem")),
              sorted({wide(changed), wide(added)}));
    EXPECT_EQ(late.getItemsChanged(), 1u);
    EXPECT_EQ(late.getItemsRemoved(), 1u);
    EXPECT_EQ(folders.locations(), sorted({wide(kept), wide(held), wide(changed), wide(added)}));
}
