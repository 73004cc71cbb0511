#include "cycle/MailSearchCycle.h"
#include "mail/MailQueryRunner.h"
#include "mail/RecursiveMailIndexer.h"
#include "search/QueuedEventSink.h"
#include "support/Strings.h"

#include "CycleTestSupport.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utime.h>

namespace fs = std::filesystem;
using namespace Kerf;
using namespace Kerf::QuireLib;
using Kerf::Search::IndexerMessage;

namespace {

class NullResults : public IMailResultsSink {
public:
    void updateStatus(const std::wstring&) override {}
    void startOptimisedAdd(std::size_t) override {}
    void InsertItem(const CEmailMetadata&) override {}
    void finishOptimisedAdd() override {}
    std::size_t getItemCount() const override { return 0; }
    void updateSearchStatus(std::size_t, std::size_t, std::size_t, bool) override {}
};

std::wstring queryAfterLocation(const SearchCriteria& criteria) {
    NullResults results;
    CMailQueryRunner::PathSet locations, directories;
    CMailQueryRunner runner(nullptr, criteria, results, &locations, &directories, nullptr);
    const std::wstring location = L"Location:\"/srv/mail\"";
    const std::wstring query = runner.buildQuery(L"/srv/mail");
    EXPECT_EQ(query.substr(0, location.size()), location);
    return query.substr(location.size());
}

/// Records the messages of one indexer run, in order.
std::vector<IndexerMessage> drain(Search::CQueuedEventSink& sink) {
    std::vector<IndexerMessage> messages;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (std::chrono::steady_clock::now() < deadline) {
        auto message = sink.take(std::chrono::milliseconds(100));
        if (!message)
            continue;
        messages.push_back(message->message);
        if (message->message == IndexerMessage::EndWork)
            break;
    }
    return messages;
}

const fs::path kSample = fs::path(QOSEARCH_CORPUS_DIR) / "msg" / "poi_message_1979.msg";

/// A folder of copies of the sample message (links to one copy).
fs::path copiesOfTheSample(const fs::path& dir, int count) {
    const fs::path mail = dir / "mail";
    fs::create_directories(mail);
    fs::copy_file(kSample, dir / "sample.msg");
    for (int i = 0; i < count; ++i)
        fs::create_hard_link(dir / "sample.msg", mail / ("m" + std::to_string(i) + ".msg"));
    return mail;
}

/// A message reader that lets the first reads through and holds every later
/// one until the test opens it, as a share that stopped answering would.
class Gate {
public:
    explicit Gate(std::size_t passing) : m_iPassing(passing) {}

    CMetadataPtr read(const std::wstring& path) {
        {
            std::unique_lock lock(m_lock);
            const std::size_t number = ++m_iReads;
            m_changed.notify_all();
            m_changed.wait(lock, [&] { return m_bOpen || number <= m_iPassing; });
        }
        return CRecursiveMailIndexer::readMessageFile(path);
    }
    void open() {
        std::lock_guard lock(m_lock);
        m_bOpen = true;
        m_changed.notify_all();
    }
    /// Reads begun so far, waiting up to a minute for at least `count`.
    std::size_t waitForReads(std::size_t count) {
        std::unique_lock lock(m_lock);
        m_changed.wait_for(lock, std::chrono::minutes(1), [&] { return m_iReads >= count; });
        return m_iReads;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    const std::size_t m_iPassing;
    std::size_t m_iReads = 0;
    bool m_bOpen = false;
};

/// Opens the gate if the test has not gone on within 20 seconds: a call that
/// waits for a held read then fails the test instead of hanging it.
class Watchdog {
public:
    explicit Watchdog(Gate& gate)
        : m_thread([this, &gate] {
              std::unique_lock lock(m_lock);
              if (m_done.wait_for(lock, std::chrono::seconds(20), [this] { return m_bDone; }))
                  return;
              m_bFired = true;
              lock.unlock();
              gate.open();
          }) {}
    ~Watchdog() {
        disarm();
        m_thread.join();
    }
    /// True when the test got here before the watchdog had to open the gate.
    bool disarm() {
        std::lock_guard lock(m_lock);
        m_bDone = true;
        m_done.notify_all();
        return !m_bFired;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_done;
    bool m_bDone = false;
    bool m_bFired = false;
    std::thread m_thread;
};

} // namespace

TEST(MailQueryText, EachCriteriaFormGivesTheDescribedText) {
    SearchCriteria none;
    EXPECT_EQ(queryAfterLocation(none), L"");

    SearchCriteria subject;
    subject.m_sSubject = L"budget  2008";
    EXPECT_EQ(queryAfterLocation(subject), L" AND Subject:budget* AND Subject:2008*");

    SearchCriteria keywords;
    keywords.m_sKeywords = L"a b";
    keywords.m_sSubject = L"ignored";
    EXPECT_EQ(queryAfterLocation(keywords),
              L" AND ( Bcc:a Body:a Cc:a From:a Subject:a To:a Attachments:a Bcc:b "
              L"Body:b Cc:b From:b Subject:b To:b Attachments:b)");
    keywords.m_sKeywords = L"solo";
    EXPECT_EQ(queryAfterLocation(keywords), L" AND ( Bcc:solo Body:solo Cc:solo From:solo "
                                            L"Subject:solo To:solo Attachments:solo)");

    SearchCriteria raw;
    raw.m_sQuery = L"Subject:(a OR b)";
    raw.m_sKeywords = L"ignored";
    raw.m_sBody = L"ignored";
    raw.m_bSentAfter = true;
    EXPECT_EQ(queryAfterLocation(raw), L" AND (Subject:(a OR b))");

    SearchCriteria before;
    before.m_bSentBefore = true;
    before.m_dtSentBefore = DateTime{2024, 5, 3, 0, 0, 1};
    EXPECT_EQ(queryAfterLocation(before), L" AND SentDate:[01000101000000 TO 20240503000001]");

    SearchCriteria all;
    all.m_sBody = L"FW: x:y";
    all.m_sBcc = L"z";
    all.m_sAttachment = L"plan.pdf";
    all.m_bSentAfter = true;
    all.m_dtSentAfter = DateTime{2001, 2, 3, 23, 59, 59};
    EXPECT_EQ(queryAfterLocation(all),
              L" AND Body:fw* AND (Body:x AND Body:y*) AND Bcc:z* AND Attachments:plan.pdf* AND "
              L"SentDate:[20010203235959 TO 99991231235959]");
}

/// A temporary folder with an index place and a queue for the indexer's events.
class IndexFolder : public ::testing::Test {
protected:
    QoTest::TempDir dir;
    const CRecursiveMailIndexer::IndexPlace place{Util::fromPath(dir / "Index"),
                                                  Util::fromPath(dir / "Index/0.4")};
    std::shared_ptr<Search::CQueuedEventSink> sink = std::make_shared<Search::CQueuedEventSink>();
};

class MailIndexerTest : public IndexFolder {
protected:
    const fs::path mail = dir / "mail";
    MailIndexerTest() { fs::create_directories(mail); }
    /// One whole run over the folder; the messages it posted, in order.
    std::vector<IndexerMessage> index(CRecursiveMailIndexer& indexer) {
        indexer.go();
        std::vector<IndexerMessage> messages = drain(*sink);
        indexer.stop();
        return messages;
    }
};

TEST_F(MailIndexerTest, PostsBeginEndAndEveryTenthItemOnlyForMessageFiles) {
    for (int i = 0; i < 25; ++i)
        fs::copy_file(kSample, mail / ("m" + std::to_string(i) + (i % 2 ? ".msg" : ".MSG")));
    QoTest::writeFile(mail / "notes.txt", "not a message");
    CRecursiveMailIndexer indexer(sink, SearchCriteria(), {Util::fromPath(mail)}, nullptr, place);
    EXPECT_EQ(index(indexer), (std::vector<IndexerMessage>{
                                  IndexerMessage::BeginWork, IndexerMessage::EndUpdatingIndexItem,
                                  IndexerMessage::EndUpdatingIndexItem, IndexerMessage::EndWork}));
    EXPECT_EQ(indexer.getCompletedItemsTotal(), 25u);
    EXPECT_EQ(indexer.buildStatusString().substr(0, 33), L"Indexed:25    Remaining:0    (100");
}

TEST_F(MailIndexerTest, SentAfterSkipsFilesLastWrittenBeforeThatDay) {
    fs::copy_file(kSample, mail / "old.msg");
    fs::copy_file(kSample, mail / "new.msg");
    const std::int64_t now = std::time(nullptr);
    utimbuf twoDaysAgo{static_cast<time_t>(now - 2 * 86400), static_cast<time_t>(now - 2 * 86400)};
    ASSERT_EQ(utime((mail / "old.msg").c_str(), &twoDaysAgo), 0);

    SearchCriteria criteria;
    criteria.m_bSentAfter = true;
    criteria.m_dtSentAfter = Dates::fromUnixLocal(now - 86400);
    criteria.adjustDatesForSearch();
    CRecursiveMailIndexer indexer(sink, criteria, {Util::fromPath(mail)}, nullptr, place);
    index(indexer);
    EXPECT_EQ(indexer.getCompletedItemsTotal(), 1u);
    EXPECT_TRUE(indexer.isIndexedFile(Util::fromPath(mail / "new.msg")));
    EXPECT_FALSE(indexer.isIndexedFile(Util::fromPath(mail / "old.msg")));
}

TEST_F(MailIndexerTest, TheFirstProgressLineCountsEveryMessageTheWalkFound) {
    // The reader hands over its first record only once the walk has ended
    // (or after a while, so that a walk that waits on the reader fails the
    // test instead of hanging it): the first update then knows every file.
    struct CReaderAfterTheWalk : CRecursiveMailIndexer {
        using CRecursiveMailIndexer::CRecursiveMailIndexer;
        ~CReaderAfterTheWalk() override { stop(); }
        CMetadataPtr buildMetadata(const std::wstring& path) override {
            std::call_once(m_first, [this] {
                const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
                while (!m_bScanningFinished && std::chrono::steady_clock::now() < deadline)
                    std::this_thread::sleep_for(std::chrono::milliseconds(2));
                walkEndedFirst = m_bScanningFinished.load();
            });
            return CRecursiveMailIndexer::buildMetadata(path);
        }
        std::once_flag m_first;
        std::atomic<bool> walkEndedFirst{false};
    };
    constexpr std::size_t kMessages = 5000;
    ASSERT_EQ(copiesOfTheSample(dir.path(), static_cast<int>(kMessages)), mail);
    CReaderAfterTheWalk indexer(sink, SearchCriteria(), {Util::fromPath(mail)}, nullptr, place);
    indexer.go();
    std::optional<Search::IndexerEvent> event;
    while ((event = sink->take(std::chrono::seconds(60))) &&
           event->message != IndexerMessage::EndUpdatingIndexItem) {
    }
    ASSERT_TRUE(event) << "no progress update";
    const CRecursiveMailIndexer::Progress progress = indexer.getProgress();
    const std::wstring line = indexer.buildStatusString(progress);
    indexer.stop();

    EXPECT_TRUE(indexer.walkEndedFirst);
    EXPECT_GE(progress.indexed, 10u);
    EXPECT_EQ(progress.indexed + progress.remaining, kMessages);
    const std::wstring expected = L"Indexed:" + std::to_wstring(progress.indexed) +
                                  L"    Remaining:" + std::to_wstring(progress.remaining) +
                                  L"    (" + std::to_wstring(progress.indexed * 100 / kMessages) +
                                  L"% Complete: ";
    EXPECT_EQ(line.substr(0, expected.size()), expected);
}

class MailSearchCycleTest : public IndexFolder {
protected:
    static constexpr std::size_t kFiles = 200;

    const fs::path mail = copiesOfTheSample(dir.path(), kFiles);
    CycleTest::RowsView view;
    std::unique_ptr<CMailSearchCycle> cycle = newCycle();

    std::unique_ptr<CMailSearchCycle> newCycle() {
        auto made = std::make_unique<CMailSearchCycle>(view, sink, place);
        made->initialise();
        return made;
    }
    /// Every read goes through a gate that holds all but the first `passing`.
    std::shared_ptr<Gate> gateReads(std::size_t passing) {
        auto gate = std::make_shared<Gate>(passing);
        cycle->setMessageReader([gate](const std::wstring& path) { return gate->read(path); });
        return gate;
    }
    bool findNow() { return cycle->findNow(SearchCriteria(), {Util::fromPath(mail)}); }
    bool pumpUntil(const std::function<bool()>& done) {
        return CycleTest::pumpUntil(*cycle, *sink, done);
    }
    bool pumpToTheEnd() {
        return pumpUntil([this] { return !cycle->isIndexing(); });
    }
    std::size_t documentsInTheIndex() const {
        return static_cast<std::size_t>(
            Search::createIndexSearcher(place.directory)->getReader()->numDocs());
    }
    /// Stop (or whatever `act` does) while a read is held: it must come back
    /// without waiting for that read.
    void whileAReadIsHeld(Gate& gate, const std::function<void()>& act) {
        Watchdog watchdog(gate);
        act();
        EXPECT_TRUE(watchdog.disarm()) << "the call waited for the held read";
    }
};

TEST_F(MailSearchCycleTest, StopWithAReadThatHangsReturnsAtOnceAndEndsWhenTheReadReturns) {
    auto gate = gateReads(0);
    ASSERT_TRUE(findNow());
    gate->waitForReads(1);
    whileAReadIsHeld(*gate, [&] { cycle->stop(); });
    EXPECT_EQ(cycle->getStatusText(), L"Stopping...");
    EXPECT_TRUE(cycle->isStopping());

    gate->open();
    ASSERT_TRUE(pumpToTheEnd());
    EXPECT_EQ(cycle->getStatusText().rfind(L"0 matches found in ", 0), 0u)
        << Util::toNarrow(cycle->getStatusText());
    EXPECT_EQ(documentsInTheIndex(), 0u);
}

TEST_F(MailSearchCycleTest, FindNowWhileAStoppedRunEndsStartsAfterItAndReadsOnlyWhatItLeft) {
    constexpr std::size_t kPassing = 50;
    auto gate = gateReads(kPassing);
    ASSERT_TRUE(findNow());
    // The first files are in the writer and the next read hangs: stop then.
    ASSERT_EQ(gate->waitForReads(kPassing + 1), kPassing + 1);
    ASSERT_TRUE(
        pumpUntil([&] { return cycle->getIndexer()->getCompletedItemsTotal() == kPassing; }));
    whileAReadIsHeld(*gate, [&] {
        cycle->stop();
        ASSERT_TRUE(findNow());
    });
    // The stopped run still holds the index's write lock: nothing new starts.
    EXPECT_EQ(cycle->getIndexer(), nullptr);
    EXPECT_TRUE(cycle->isIndexing());
    EXPECT_FALSE(cycle->isStopping());
    EXPECT_EQ(cycle->getStatusText(), L"Searching...");

    gate->open();
    ASSERT_TRUE(pumpToTheEnd());
    EXPECT_EQ(cycle->getLastError(), L"");
    // The new run read only what the stopped one had not committed.
    EXPECT_EQ(gate->waitForReads(0) - (kPassing + 1), kFiles - kPassing);
    EXPECT_EQ(documentsInTheIndex(), kFiles);
    EXPECT_EQ(view.getItemCount(), kFiles);
    EXPECT_EQ(cycle->getStatusText().rfind(L"200 matches found in ", 0), 0u)
        << Util::toNarrow(cycle->getStatusText());
}

TEST_F(MailSearchCycleTest, ClosingWhileAReadHangsLetsTheRunGoAndItClosesTheIndexLater) {
    auto gate = gateReads(0);
    ASSERT_TRUE(findNow());
    gate->waitForReads(1);
    whileAReadIsHeld(*gate, [&] { cycle.reset(); });

    // Once the read returns, the run ends on its own and lets go of the
    // index's write lock: a new search indexes everything.
    gate->open();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (gate.use_count() > 1 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_EQ(gate.use_count(), 1) << "the let-go run never ended";
    cycle = newCycle();
    ASSERT_TRUE(findNow());
    ASSERT_TRUE(pumpToTheEnd());
    EXPECT_EQ(cycle->getLastError(), L"");
    EXPECT_EQ(view.getItemCount(), kFiles);
}

TEST_F(MailSearchCycleTest, ALateEndOfWorkOfAnEarlierRunDoesNotEndTheCurrentOne) {
    ASSERT_TRUE(findNow());
    // The first run ends and is closed, but its end is still queued when
    // Find Now is pressed again.
    std::optional<Search::IndexerEvent> lateEnd;
    while (auto event = sink->take(std::chrono::seconds(60)))
        if (event->message == IndexerMessage::EndWork) {
            lateEnd = event;
            break;
        }
    ASSERT_TRUE(lateEnd.has_value());
    cycle->closeIndexer();
    ASSERT_TRUE(findNow());
    ASSERT_NE(cycle->getIndexer(), nullptr);
    cycle->handle(*lateEnd);
    EXPECT_TRUE(cycle->isIndexing());
    ASSERT_TRUE(pumpToTheEnd());
    EXPECT_EQ(cycle->getStatusText().rfind(L"200 matches found in ", 0), 0u);
    EXPECT_EQ(view.getItemCount(), kFiles);
}
