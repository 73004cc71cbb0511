#pragma once
// One search as the user sees it, shared by the window and the command line:
// "Find Now" starts the mail indexer over the chosen folders; when it reports
// that work began, the query runs on the index as it stands, so earlier
// results show at once; when it reports the end, the query runs again on the
// updated index and the status tells how many messages matched and how long
// it took. The front end only shows what this class tells it and hands it the
// indexer's messages on its own thread.
//
// Nothing here waits on the indexer's threads, which may be stuck in a read
// from a share that stopped answering: Stop asks the run to end and sets it
// aside until its end-of-work message arrives, and a Find Now meanwhile
// starts once that run has ended (it holds the index's write lock until then).

#include "central/CentralSettings.h"
#include "central/PgConnection.h"
#include "cycle/CentralSearchRun.h"
#include "mail/MailQueryRunner.h"
#include "mail/RecursiveMailIndexer.h"
#include "mail/SearchCriteria.h"
#include "search/EventSink.h"
#include "search/IndexStorage.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Kerf::QuireLib {

/// What a front end shows for the search cycle.
class ISearchView {
public:
    virtual ~ISearchView() = default;
    virtual void setStatusText(const std::wstring& text) = 0;
    /// The indexer's progress line; shown as the status by default.
    virtual void showIndexerProgress(const std::wstring& text) { setStatusText(text); }
    /// The counts behind that line: messages indexed and still to do.
    virtual void showIndexerCounts(std::size_t /*indexed*/, std::size_t /*remaining*/) {}
    /// Something the user should know beside the search, such as a damaged
    /// index being built again; shown as the status by default.
    virtual void showNotice(const std::wstring& text) { setStatusText(text); }
    /// A failure that ended the indexing, once per failure; the status
    /// already reads it.
    virtual void showIndexingFailure(const std::wstring& /*text*/) {}
    /// The rows are not all there are: the search was stopped, or places
    /// could not be read. The text says what is missing; empty when the
    /// results are complete (a new search, Clear).
    virtual void showIncompleteResults(const std::wstring& /*text*/) {}
    virtual void deleteAllRows() = 0;
    virtual void clearPreview() {}
    virtual void startOptimisedAdd(std::size_t expectedRows) = 0;
    virtual void insertItem(const CEmailMetadata& record) = 0;
    virtual void finishOptimisedAdd() = 0;
    virtual std::size_t getItemCount() const = 0;
    /// Rows were added since the last sort: sort them again if the list is
    /// sorted, and keep the selected row in view.
    virtual void sortPendingRows() {}
    virtual void beginWaitCursor() {}
    virtual void endWaitCursor() {}
};

class CMailSearchCycle : private IMailResultsSink {
public:
    using Directories = Search::Searcher::CQueryRunner::Directories;
    using PathSet = Search::Searcher::CQueryRunner::PathSet;

    /// The sink must queue the indexer's messages for the front end's thread,
    /// which hands each to handle().
    CMailSearchCycle(ISearchView& view, std::shared_ptr<Search::IEventSink> sink,
                     CRecursiveMailIndexer::IndexPlace place);
    ~CMailSearchCycle() override;
    CMailSearchCycle(const CMailSearchCycle&) = delete;
    CMailSearchCycle& operator=(const CMailSearchCycle&) = delete;

    /// Opens (creating when missing) the index and its searcher, as the
    /// window does once at start-up. A damaged index is removed and made
    /// anew; the next update fills it again.
    void initialise();

    /// "Find Now": asks any running work to stop, then searches the locations
    /// for the criteria (their dates adjusted first); while a stopped run is
    /// still ending, the search starts once it has. False when there is no
    /// location or the index could not be opened; the status says why.
    bool findNow(const SearchCriteria& criteria, const Directories& locations);
    /// Chosen locations that cannot be searched, each with its reason; the
    /// final status of the next search names them.
    void setUnreachableLocations(std::vector<std::wstring> unreachable) {
        m_vUnreachable = std::move(unreachable);
    }
    /// The central index and the roots it covers: chosen locations under
    /// them are asked of it, and of the per-user index when it does not
    /// answer in time (the final status then says so).
    void setCentralIndex(Central::CentralIndexSettings settings) {
        m_central = std::move(settings);
    }
    /// Runs the query once on the index as it stands, without indexing.
    bool searchIndexOnly(const SearchCriteria& criteria, const Directories& locations);

    /// An indexer event, on the front end's thread. Events of a run other
    /// than the current one are dropped: a run that was stopped or replaced
    /// may still have some queued.
    void handle(const Search::IndexerEvent& event);

    /// "Stop": the results of the work done so far, then the work is asked
    /// to end; the status reads "Stopping..." until it has, and then the
    /// matches found. Returns at once.
    void stop();
    /// "Clear": the work is asked to end, the rows go and the status is
    /// emptied; the ending run shows nothing more.
    void clear();
    /// Ends any work before the front end goes: waits a little for the
    /// threads, and lets go of those that do not end (they post nothing
    /// more and clean up after themselves). Queued messages then find
    /// nothing to do.
    void closeIndexer();

    /// Whether result rows carry the message body (off: the list shows no
    /// body and reading them all would slow large results down).
    void setRowsCarryBody(bool carry) { m_bRowsCarryBody = carry; }

    /// Used by tests to make reading a message wait; applies to later runs.
    void setMessageReader(CRecursiveMailIndexer::MessageReader reader) {
        m_readMessage = std::move(reader);
    }

    /// True while a run works, is ending after Stop, or waits to start.
    bool isIndexing() const { return m_pIndexer != nullptr || m_pStopping != nullptr; }
    /// True while indexing, or while the central index's rows still come:
    /// the front end hands over events and offers Stop until it is false.
    bool isBusy() const { return isIndexing() || m_pCentralRun != nullptr; }
    /// True while a stopped run ends and no search waits to start after it.
    bool isStopping() const { return m_pStopping != nullptr && !m_bStartPending; }
    const std::wstring& getStatusText() const { return m_sStatus; }
    /// The last failure of a search (a query the parser refused, an index
    /// that could not be opened, indexing that stopped); empty when the last
    /// search went well.
    const std::wstring& getLastError() const { return m_sLastError; }
    const PathSet& getMatchedMessages() const { return m_matchedMessages; }
    const PathSet& getSearchedDirectories() const { return m_searchedDirectories; }
    const CRecursiveMailIndexer* getIndexer() const { return m_pIndexer.get(); }
    /// The number of the current (or last) run; its indexer's events carry it.
    std::uint64_t getRunNumber() const { return m_iRun; }
    Search::IndexSearcherPtr getSearcher() const { return m_pSearcher; }

    /// The user removed these messages' files (deleted, moved away): their
    /// rows are gone, a refresh of this search does not bring them back, and
    /// a final status counts them no more.
    void forgetMessages(const std::vector<std::wstring>& paths);
    /// The matches of the current search the list shows.
    std::size_t matchCount() const;

    /// While indexing runs: when the indexer has committed since the list
    /// was filled, the query runs again and the new matches join the list
    /// (rows already there stay); the status goes on showing the progress.
    void refreshIfCommitted();

    void showSearchBegin();
    void showSearchFinish() { showSearchFinish(false); }
    void updateStatusViaIndexer();

private:
    /// The query on the index as it stands and the final status; a stopped
    /// run's status says how much it did not get to.
    void showSearchFinish(bool stopped);
    void setIncomplete(const std::wstring& text);
    bool prepare(const SearchCriteria& criteria, const Directories& locations);
    /// Opens the searcher and starts the indexer for m_criteria and m_locations.
    bool startRun();
    /// Asks the running indexer to end and sets it aside without waiting.
    void askIndexerToStop();
    /// The stopped run has ended: closes it, then starts the search that
    /// waited for it or shows the status its Stop left.
    void finishStopping();
    /// Closes the indexer, waiting a little for its threads and letting go of
    /// it when they do not end.
    static void closeWithin(std::unique_ptr<CRecursiveMailIndexer> indexer,
                            std::chrono::milliseconds grace);
    /// Opens the searcher; a damaged index is set aside. False when even that failed.
    bool openSearcher();
    /// Removes the damaged index's files so that the next writer makes a new
    /// one; tells the user. False when the files could not be removed.
    bool rebuildIndex();
    bool startIndexer();
    /// The run ended: the query again, or a rebuild when the index was
    /// found damaged, or the failure that stopped the indexing.
    void finishRun();
    void indexingStopped(const std::wstring& reason);
    void noteDamage();
    void refreshSearch();
    void resetIndexSearcher();
    void searchDirectories();
    /// Moves the locations the central index covers out of m_locations when
    /// it answers; otherwise leaves them to the per-user index with a notice.
    void chooseCentralLocations();
    /// Starts the central index's search on its own thread, with the
    /// connection made for it or, without one, a new one.
    void startCentralSearch(std::unique_ptr<Central::CPgConnection> connection);
    /// Adds the central index's rows that came and are not shown yet; when
    /// its search has ended, the status says so.
    void takeCentralRows();
    /// Ends the central index's search; false when none ran.
    bool stopCentralSearch();
    /// The final status again, for a count or a notice that changed after it
    /// was shown; the incomplete-results bar follows it when it showed it.
    void showFinalStatusAgain(bool incomplete);
    /// The final status with what the central index left to say.
    std::wstring withCentralNotice(std::wstring status) const;
    void setStatus(const std::wstring& text);
    void fail(const std::wstring& message);

    // What the query runner calls.
    void updateStatus(const std::wstring& text) override { setStatus(text); }
    void beginWaitCursor() override;
    void endWaitCursor() override;
    void startOptimisedAdd(std::size_t expectedRows) override;
    void InsertItem(const CEmailMetadata& record) override;
    void finishOptimisedAdd() override;
    std::size_t getItemCount() const override { return m_view.getItemCount(); }
    void updateSearchStatus(std::size_t matches, std::size_t messages, std::size_t directories,
                            bool force) override;

    ISearchView& m_view;
    std::shared_ptr<Search::IEventSink> m_pSink;
    CRecursiveMailIndexer::IndexPlace m_place;
    Search::IndexSearcherPtr m_pSearcher;
    std::unique_ptr<CRecursiveMailIndexer> m_pIndexer;
    /// A run asked to stop whose threads have not ended yet; never set
    /// together with m_pIndexer.
    std::unique_ptr<CRecursiveMailIndexer> m_pStopping;
    /// A Find Now waits for m_pStopping to end.
    bool m_bStartPending = false;
    /// What the status reads once m_pStopping has ended; none when a later
    /// action (Find Now, Clear) has set its own.
    std::optional<std::wstring> m_stoppedStatus;
    CRecursiveMailIndexer::MessageReader m_readMessage;
    std::uint64_t m_iRun = 0;
    SearchCriteria m_criteria;
    Directories m_locations;
    std::vector<std::wstring> m_vUnreachable;
    Central::CentralIndexSettings m_central;
    std::unique_ptr<Central::CPgConnection> m_pCentral;
    Directories m_centralLocations;
    std::unique_ptr<CCentralSearchRun> m_pCentralRun;
    std::uint64_t m_iCentralRun = 0;
    std::wstring m_sCentralNotice;
    /// The central index's search ended early (stopped, or the server failed).
    bool m_bCentralIncomplete = false;
    PathSet m_matchedMessages;
    /// Matches whose files the user removed since the search began.
    PathSet m_forgotten;
    /// The final status for the current count; empty until the search ends.
    std::function<std::wstring()> m_finalStatus;
    PathSet m_searchedDirectories;
    std::wstring m_sStatus;
    /// What the incomplete-results bar reads; empty while it is hidden.
    std::wstring m_sIncomplete;
    std::wstring m_sLastError;
    int m_iWaitDepth = 0;
    bool m_bBulkAdding = false;
    bool m_bRowsCarryBody = false;
    /// A search of the running update met a damaged index.
    bool m_bDamageFound = false;
    /// The index was set aside in this search already; it is not done twice.
    bool m_bRebuilt = false;
};

} // namespace Kerf::QuireLib
