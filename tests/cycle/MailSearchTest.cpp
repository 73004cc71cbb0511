#include "cycle/MailSearchCycle.h"
#include "mail/MailQueryRunner.h"
#include "mail/RecursiveMailIndexer.h"
#include "search/QueuedEventSink.h"
#include "support/Strings.h"

#include "TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
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

/// A front end that keeps nothing but the number of rows.
class CountingView : public ISearchView {
public:
    void setStatusText(const std::wstring&) override {}
    void deleteAllRows() override { m_iRows = 0; }
    void startOptimisedAdd(std::size_t) override {}
    void insertItem(const CEmailMetadata&) override { ++m_iRows; }
    void finishOptimisedAdd() override {}
    std::size_t getItemCount() const override { return m_iRows; }

private:
    std::size_t m_iRows = 0;
};

/// A folder of copies of the sample message (links to one copy).
fs::path copiesOfTheSample(const fs::path& dir, int count) {
    const fs::path mail = dir / "mail";
    fs::create_directories(mail);
    fs::copy_file(kSample, dir / "sample.msg");
    for (int i = 0; i < count; ++i)
        fs::create_hard_link(dir / "sample.msg", mail / ("m" + std::to_string(i) + ".msg"));
    return mail;
}

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

TEST(MailIndexer, PostsBeginEndAndEveryTenthItemOnlyForMessageFiles) {
    QoTest::TempDir dir;
    const fs::path mail = dir / "mail";
    fs::create_directories(mail);
    for (int i = 0; i < 25; ++i)
        fs::copy_file(kSample, mail / ("m" + std::to_string(i) + (i % 2 ? ".msg" : ".MSG")));
    QoTest::writeFile(mail / "notes.txt", "not a message");
    const CRecursiveMailIndexer::IndexPlace place{Util::fromPath(dir / "Index"),
                                                  Util::fromPath(dir / "Index/0.4")};
    auto sink = std::make_shared<Search::CQueuedEventSink>();
    CRecursiveMailIndexer indexer(sink, SearchCriteria(), {Util::fromPath(mail)}, nullptr, place);
    indexer.go();
    const auto messages = drain(*sink);
    indexer.stop();
    EXPECT_EQ(indexer.getCompletedItemsTotal(), 25u);
    EXPECT_EQ(messages, (std::vector<IndexerMessage>{
                            IndexerMessage::BeginWork, IndexerMessage::EndUpdatingIndexItem,
                            IndexerMessage::EndUpdatingIndexItem, IndexerMessage::EndWork}));
    EXPECT_EQ(indexer.buildStatusString().substr(0, 33), L"Indexed:25    Remaining:0    (100");
}

TEST(MailIndexer, SentAfterSkipsFilesLastWrittenBeforeThatDay) {
    QoTest::TempDir dir;
    const fs::path mail = dir / "mail";
    fs::create_directories(mail);
    fs::copy_file(kSample, mail / "old.msg");
    fs::copy_file(kSample, mail / "new.msg");
    const std::int64_t now = std::time(nullptr);
    utimbuf twoDaysAgo{static_cast<time_t>(now - 2 * 86400), static_cast<time_t>(now - 2 * 86400)};
    ASSERT_EQ(utime((mail / "old.msg").c_str(), &twoDaysAgo), 0);

    SearchCriteria criteria;
    criteria.m_bSentAfter = true;
    criteria.m_dtSentAfter = Dates::fromUnixLocal(now - 86400);
    criteria.adjustDatesForSearch();
    const CRecursiveMailIndexer::IndexPlace place{Util::fromPath(dir / "Index"),
                                                  Util::fromPath(dir / "Index/0.4")};
    auto sink = std::make_shared<Search::CQueuedEventSink>();
    CRecursiveMailIndexer indexer(sink, criteria, {Util::fromPath(mail)}, nullptr, place);
    indexer.go();
    drain(*sink);
    indexer.stop();
    EXPECT_EQ(indexer.getCompletedItemsTotal(), 1u);
    EXPECT_TRUE(indexer.isIndexedFile(Util::fromPath(mail / "new.msg")));
    EXPECT_FALSE(indexer.isIndexedFile(Util::fromPath(mail / "old.msg")));
}

TEST(MailSearchCycle, FindNowAfterStopIndexesNothingTheStoppedRunCommitted) {
    QoTest::TempDir dir;
    const fs::path mail = copiesOfTheSample(dir.path(), 2000);
    const CRecursiveMailIndexer::IndexPlace place{Util::fromPath(dir / "Index"),
                                                  Util::fromPath(dir / "Index/0.4")};
    CountingView view;
    auto sink = std::make_shared<Search::CQueuedEventSink>();
    CMailSearchCycle cycle(view, sink, place);
    cycle.initialise();
    ASSERT_TRUE(cycle.findNow(SearchCriteria(), {Util::fromPath(mail)}));
    // Stop once the first items are in the index.
    while (auto message = sink->take(std::chrono::seconds(60))) {
        cycle.handle(*message);
        if (message->message == IndexerMessage::EndUpdatingIndexItem)
            break;
    }
    cycle.stop();
    const auto committed = static_cast<std::size_t>(
        Search::createIndexSearcher(place.directory)->getReader()->numDocs());
    ASSERT_TRUE(cycle.findNow(SearchCriteria(), {Util::fromPath(mail)}));
    std::size_t indexedAgain = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (cycle.isIndexing() && std::chrono::steady_clock::now() < deadline)
        if (auto message = sink->take(std::chrono::milliseconds(100))) {
            if (message->message == IndexerMessage::EndWork && message->run == cycle.getRunNumber())
                indexedAgain = cycle.getIndexer()->getCompletedItemsTotal();
            cycle.handle(*message);
        }
    ASSERT_FALSE(cycle.isIndexing());
    EXPECT_EQ(indexedAgain, 2000u - committed);
    EXPECT_EQ(view.getItemCount(), 2000u);
}

TEST(MailSearchCycle, ALateEndOfWorkOfAnEarlierRunDoesNotEndTheCurrentOne) {
    QoTest::TempDir dir;
    const fs::path mail = copiesOfTheSample(dir.path(), 20);
    const CRecursiveMailIndexer::IndexPlace place{Util::fromPath(dir / "Index"),
                                                  Util::fromPath(dir / "Index/0.4")};
    CountingView view;
    auto sink = std::make_shared<Search::CQueuedEventSink>();
    CMailSearchCycle cycle(view, sink, place);
    cycle.initialise();
    ASSERT_TRUE(cycle.findNow(SearchCriteria(), {Util::fromPath(mail)}));
    // The first run ends, but its end is still queued when Find Now is pressed again.
    std::optional<Search::IndexerEvent> lateEnd;
    while (auto event = sink->take(std::chrono::seconds(60)))
        if (event->message == IndexerMessage::EndWork) {
            lateEnd = event;
            break;
        }
    ASSERT_TRUE(lateEnd.has_value());
    ASSERT_TRUE(cycle.findNow(SearchCriteria(), {Util::fromPath(mail)}));
    cycle.handle(*lateEnd);
    EXPECT_TRUE(cycle.isIndexing());
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (cycle.isIndexing() && std::chrono::steady_clock::now() < deadline)
        if (auto event = sink->take(std::chrono::milliseconds(100)))
            cycle.handle(*event);
    EXPECT_EQ(cycle.getStatusText().substr(0, 18), L"20 matches found i");
    EXPECT_EQ(view.getItemCount(), 20u);
}
