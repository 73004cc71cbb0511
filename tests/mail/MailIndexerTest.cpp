// The mail indexer on real folders of messages: what it posts, what it
// skips, and what its first progress line knows.

#include "MailIndexFolder.h"
#include "WaitFor.h"

#include <atomic>
#include <chrono>
#include <ctime>
#include <mutex>

namespace fs = std::filesystem;
using namespace Kerf;
using namespace Kerf::QuireLib;
using Kerf::Search::IndexerMessage;
using QoTest::copiesOfTheSample;
using QoTest::sampleMessage;

class MailIndexerTest : public QoTest::IndexFolder {
protected:
    const fs::path mail = dir / "mail";
    MailIndexerTest() { fs::create_directories(mail); }
    /// One whole run over the folder; the messages it posted, in order.
    std::vector<IndexerMessage> index(CRecursiveMailIndexer& indexer) {
        indexer.go();
        std::vector<IndexerMessage> messages;
        while (auto event = sink->take(std::chrono::seconds(60))) {
            messages.push_back(event->message);
            if (event->message == IndexerMessage::EndWork)
                break;
        }
        indexer.stop();
        return messages;
    }
};

TEST_F(MailIndexerTest, PostsBeginEndAndEveryTenthItemOnlyForMessageFiles) {
    copiesOfTheSample(dir.path(), 25);
    QoTest::writeFile(mail / "notes.txt", "not a message");
    CRecursiveMailIndexer indexer(sink, SearchCriteria(), {Util::fromPath(mail)}, nullptr, place);
    EXPECT_EQ(index(indexer), (std::vector<IndexerMessage>{
                                  IndexerMessage::BeginWork, IndexerMessage::EndUpdatingIndexItem,
                                  IndexerMessage::EndUpdatingIndexItem, IndexerMessage::EndWork}));
    EXPECT_EQ(indexer.getCompletedItemsTotal(), 25u);
    EXPECT_EQ(indexer.buildStatusString().substr(0, 33), L"Indexed:25    Remaining:0    (100");
}

TEST_F(MailIndexerTest, SentAfterSkipsFilesLastWrittenBeforeThatDay) {
    fs::copy_file(sampleMessage(), mail / "old.msg");
    fs::copy_file(sampleMessage(), mail / "new.msg");
    fs::last_write_time(mail / "old.msg",
                        fs::file_time_type::clock::now() - std::chrono::hours(48));

    SearchCriteria criteria;
    criteria.m_bSentAfter = true;
    criteria.m_dtSentAfter = Dates::fromUnixLocal(std::time(nullptr) - 86400);
    criteria.adjustDatesForSearch();
    CRecursiveMailIndexer indexer(sink, criteria, {Util::fromPath(mail)}, nullptr, place);
    index(indexer);
    EXPECT_EQ(indexer.getCompletedItemsTotal(), 1u);
    EXPECT_TRUE(indexer.isIndexedFile(Util::fromPath(mail / "new.msg")));
    EXPECT_FALSE(indexer.isIndexedFile(Util::fromPath(mail / "old.msg")));
}

TEST_F(MailIndexerTest, TheFirstProgressLineCountsEveryMessageTheWalkFound) {
    // The reader gives its first record only once the walk has ended (or after a while, so that a
    // walk waiting on it fails, not hangs): the first update then knows every file.
    struct CReaderAfterTheWalk : CRecursiveMailIndexer {
        using CRecursiveMailIndexer::CRecursiveMailIndexer;
        ~CReaderAfterTheWalk() override { stop(); }
        CMetadataPtr buildMetadata(const std::wstring& path) override {
            std::call_once(m_first, [this] {
                walkEndedFirst = QoTest::waitFor([this] { return m_bScanningFinished.load(); },
                                                 std::chrono::seconds(60));
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
    EXPECT_TRUE(line.starts_with(L"Indexed:" + std::to_wstring(progress.indexed) +
                                 L"    Remaining:" + std::to_wstring(progress.remaining)))
        << Util::toNarrow(line);
}
