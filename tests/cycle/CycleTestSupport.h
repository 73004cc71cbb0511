#pragma once
// What the cycle's tests share: a front end that keeps the rows' locations and status, the loop
// that hands it the indexer's events, and a fixture that runs whole searches over saved messages.

#include "cycle/MailSearchCycle.h"
#include "search/IndexLocations.h"
#include "search/QueuedEventSink.h"
#include "support/Strings.h"

#include "MailIndexFolder.h"
#include "MsgWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace CycleTest {

namespace fs = std::filesystem;

class RowsView : public Kerf::QuireLib::ISearchView {
public:
    void setStatusText(const std::wstring& text) override { status = text; }
    void deleteAllRows() override { rows.clear(); }
    void startOptimisedAdd(std::size_t) override {}
    void insertItem(const Kerf::QuireLib::CEmailMetadata& record) override {
        rows.push_back(record.GetStringValue(L"Location"));
    }
    void finishOptimisedAdd() override {}
    std::size_t getItemCount() const override { return rows.size(); }
    std::vector<std::wstring> rows;
    std::wstring status;
};

/// Hands the queued events to the cycle until the condition holds (two minutes
/// at most); whether it came to hold.
inline bool pumpUntil(Kerf::QuireLib::CMailSearchCycle& cycle, Kerf::Search::CQueuedEventSink& sink,
                      const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (!done() && std::chrono::steady_clock::now() < deadline)
        if (auto event = sink.take(std::chrono::milliseconds(20)))
            cycle.handle(*event);
    return done();
}

/// Messages saved below `mail`, searched by whole runs of "Find Now".
class SavedMail : public QoTest::IndexFolder {
protected:
    fs::path mail = dir / "mail";
    /// The final status of the last find(), and the messages all finds read.
    std::wstring status;
    std::atomic<std::size_t> reads{0};

    fs::path save(const fs::path& relative, const QoMsg::MsgMessage& message) {
        const fs::path path = mail / relative;
        fs::create_directories(path.parent_path());
        QoMsg::writeMsgFile(path, message);
        return path;
    }
    fs::path save(const fs::path& relative, const std::wstring& subject) {
        QoMsg::MsgMessage message;
        message.subject = subject;
        message.body = L"Minutes of the meeting.";
        return save(relative, message);
    }

    /// One whole "Find Now" over the folders; the rows it leaves, sorted.
    std::vector<std::wstring> find(const std::vector<fs::path>& folders,
                                   const Kerf::QuireLib::SearchCriteria& criteria = {}) {
        RowsView view;
        Kerf::QuireLib::CMailSearchCycle cycle(view, sink, place);
        cycle.initialise();
        cycle.setMessageReader([this](const std::wstring& path) {
            ++reads;
            return Kerf::QuireLib::CRecursiveMailIndexer::readMessageFile(path);
        });
        std::vector<std::wstring> locations;
        for (const auto& folder : folders)
            locations.push_back(Kerf::Util::fromPath(folder));
        EXPECT_TRUE(cycle.findNow(criteria, locations));
        EXPECT_TRUE(pumpUntil(cycle, *sink, [&] { return !cycle.isIndexing(); }));
        EXPECT_EQ(cycle.getLastError(), L"");
        status = cycle.getStatusText();
        std::sort(view.rows.begin(), view.rows.end());
        return view.rows;
    }

    /// Every document's location, as a fresh searcher sees the index.
    std::vector<std::wstring> indexed() const {
        std::vector<std::wstring> result;
        Kerf::Search::forEachLocationBelow(*Kerf::Search::createIndexSearcher(place.directory),
                                           L"/",
                                           [&](const std::wstring& l) { result.push_back(l); });
        std::sort(result.begin(), result.end());
        return result;
    }
};

} // namespace CycleTest
