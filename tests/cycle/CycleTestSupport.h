#pragma once
// What the search cycle's tests share: a front end that keeps the rows'
// locations and the status, and the loop that hands it the indexer's events.

#include "cycle/MailSearchCycle.h"
#include "mail/RecursiveMailIndexer.h"
#include "search/QueuedEventSink.h"

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace CycleTest {

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

/// Runs the indexer to its end (two minutes at most), taking its events as
/// they come; whether it ended.
inline bool runToEnd(Kerf::QuireLib::CRecursiveMailIndexer& indexer,
                     Kerf::Search::CQueuedEventSink& sink) {
    indexer.go();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (!indexer.isFinished() && std::chrono::steady_clock::now() < deadline)
        sink.take(std::chrono::milliseconds(50));
    const bool finished = indexer.isFinished();
    indexer.stop();
    return finished;
}

} // namespace CycleTest
