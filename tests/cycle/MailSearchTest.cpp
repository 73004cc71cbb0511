#include "CycleTestSupport.h"
#include "WaitFor.h"

#include <condition_variable>
#include <future>
#include <map>
#include <mutex>
#include <set>

namespace fs = std::filesystem;
using namespace Kerf;
using namespace Kerf::QuireLib;

namespace {

/// A message reader that lets the first reads through and holds every later
/// one until the test opens it, as a share that stopped answering would.
class Gate {
public:
    explicit Gate(std::size_t passing) : m_iPassing(passing) {}

    CMetadataPtr read(const std::wstring& path) {
        {
            std::unique_lock lock(m_lock);
            const std::size_t number = ++m_iReads;
            ++m_readsOf[path];
            if (number <= m_iPassing)
                m_passed.insert(path);
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

    /// Files read so far, and of the files let through at once those that were read more than once.
    std::pair<std::size_t, std::size_t> filesAndPassedReadAgain() {
        std::lock_guard lock(m_lock);
        const auto again = std::count_if(m_passed.begin(), m_passed.end(),
                                         [&](const std::wstring& p) { return m_readsOf[p] > 1; });
        return {m_readsOf.size(), static_cast<std::size_t>(again)};
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::map<std::wstring, std::size_t> m_readsOf;
    std::set<std::wstring> m_passed;
    const std::size_t m_iPassing;
    std::size_t m_iReads = 0;
    bool m_bOpen = false;
};

} // namespace

class MailSearchCycleTest : public CycleTest::SavedMail {
protected:
    static constexpr std::size_t kFiles = 200;

    MailSearchCycleTest() { QoTest::copiesOfTheSample(dir.path(), kFiles); }
    CycleTest::RowsView view;
    std::unique_ptr<CMailSearchCycle> cycle = newCycle();

    std::unique_ptr<CMailSearchCycle> newCycle() {
        auto made = std::make_unique<CMailSearchCycle>(view, sink, place);
        made->initialise();
        return made;
    }
    /// Find Now with every read going through a gate that lets the first
    /// `passing` through, once the read after them is held.
    std::shared_ptr<Gate> findNowHoldingReadsAfter(std::size_t passing) {
        auto gate = std::make_shared<Gate>(passing);
        cycle->setMessageReader([gate](const std::wstring& path) { return gate->read(path); });
        EXPECT_TRUE(findNow());
        EXPECT_GE(gate->waitForReads(passing + 1), passing + 1);
        return gate;
    }
    bool findNow() { return cycle->findNow(SearchCriteria(), {Util::fromPath(mail)}); }
    bool pumpUntil(const std::function<bool()>& done) {
        return CycleTest::pumpUntil(*cycle, *sink, done);
    }
    bool pumpToTheEnd() {
        return pumpUntil([this] { return !cycle->isIndexing(); });
    }
    /// Stop (or whatever `act` does) while a read is held must return without waiting for it;
    /// should it wait, a watchdog opens the gate after half a minute: the test fails, not hangs.
    void whileAReadIsHeld(Gate& gate, const std::function<void()>& act) {
        std::promise<void> returned;
        auto watchdog = std::async(std::launch::async, [&gate, done = returned.get_future()] {
            if (done.wait_for(std::chrono::seconds(30)) == std::future_status::ready)
                return false;
            gate.open();
            return true;
        });
        act();
        returned.set_value();
        EXPECT_FALSE(watchdog.get()) << "the call waited for the held read";
    }
};

TEST_F(MailSearchCycleTest, StopWithAReadThatHangsReturnsAtOnceAndEndsWhenTheReadReturns) {
    auto gate = findNowHoldingReadsAfter(0);
    whileAReadIsHeld(*gate, [&] { cycle->stop(); });
    EXPECT_EQ(cycle->getStatusText(), L"Stopping...");
    EXPECT_TRUE(cycle->isStopping());

    gate->open();
    ASSERT_TRUE(pumpToTheEnd());
    // Stopped before any message was read: nothing found, and it says so.
    EXPECT_EQ(
        cycle->getStatusText().rfind(L"Stopped: 0 matches in the 0 messages searched so far; ", 0),
        0u)
        << Util::toNarrow(cycle->getStatusText());
    EXPECT_TRUE(indexed().empty());
}

TEST_F(MailSearchCycleTest, FindNowWhileAStoppedRunEndsStartsAfterItAndReadsOnlyWhatItLeft) {
    constexpr std::size_t kPassing = 50;
    auto gate = findNowHoldingReadsAfter(kPassing);
    // The first files are in the writer and the next read hangs: stop then.
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
    // The new run read only what the stopped one had not committed: every
    // file, but none of those the stopped run had indexed.
    EXPECT_EQ(gate->filesAndPassedReadAgain(), std::make_pair(kFiles, std::size_t{0}));
    EXPECT_EQ(indexed().size(), kFiles);
    EXPECT_EQ(view.getItemCount(), kFiles);
    EXPECT_EQ(cycle->getStatusText().rfind(L"200 matches found in ", 0), 0u)
        << Util::toNarrow(cycle->getStatusText());
}

TEST_F(MailSearchCycleTest, ClosingWhileAReadHangsLetsTheRunGoAndItClosesTheIndexLater) {
    auto gate = findNowHoldingReadsAfter(0);
    whileAReadIsHeld(*gate, [&] { cycle.reset(); });

    // Once the read returns, the run ends on its own and lets go of the
    // index's write lock: a new search indexes everything.
    gate->open();
    ASSERT_TRUE(QoTest::waitFor([&] { return gate.use_count() == 1; }))
        << "the let-go run never ended";
    cycle = newCycle();
    ASSERT_TRUE(findNow());
    ASSERT_TRUE(pumpToTheEnd());
    EXPECT_EQ(cycle->getLastError(), L"");
    EXPECT_EQ(view.getItemCount(), kFiles);
}

TEST_F(MailSearchCycleTest, ALateEndOfWorkOfAnEarlierRunDoesNotEndTheCurrentOne) {
    ASSERT_TRUE(findNow());
    // The first run ends and is closed, but its end is still queued when Find Now is pressed again.
    std::optional<Search::IndexerEvent> lateEnd;
    while (auto event = sink->take(std::chrono::seconds(60)))
        if (event->message == Search::IndexerMessage::EndWork) {
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
