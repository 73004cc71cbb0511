#include "cycle/MailSearchCycle.h"

#include "central/CentralSearch.h"
#include "mail/StatusTexts.h"
#include "support/Assert.h"
#include "support/Strings.h"
#include "support/Trace.h"

namespace Kerf::QuireLib {

using Search::IndexerMessage;

namespace {
/// How long closing waits for the indexer's threads before it lets them go.
constexpr std::chrono::milliseconds kCloseGrace{2000};
} // namespace

CMailSearchCycle::CMailSearchCycle(ISearchView& view, std::shared_ptr<Search::IEventSink> sink,
                                   CRecursiveMailIndexer::IndexPlace place)
    : m_view(view), m_pSink(std::move(sink)), m_place(std::move(place)) {}

CMailSearchCycle::~CMailSearchCycle() {
    m_pCentralRun.reset();
    closeIndexer();
}

void CMailSearchCycle::initialise() {
    m_bRebuilt = false;
    if (!openSearcher())
        return;
    if (m_pSearcher)
        return;
    // No index yet (or no longer): opening a writer once creates it.
    for (;;) {
        try {
            { CRecursiveMailIndexer opener(m_place); }
            resetIndexSearcher();
            return;
        } catch (const CIndexException& e) {
            if (e.isDamage() && !m_bRebuilt && rebuildIndex())
                continue;
            fail(describeWithCauses(e));
            return;
        } catch (const CExceptionBase& e) {
            fail(describeWithCauses(e));
            return;
        }
    }
}

bool CMailSearchCycle::openSearcher() {
    try {
        resetIndexSearcher();
    } catch (const CIndexException& e) {
        // A damaged index is set aside here; any other failure is met again,
        // and reported, when the writer opens the index.
        if (e.isDamage() && !m_bRebuilt)
            return rebuildIndex();
    } catch (const CExceptionBase&) {
    }
    return true;
}

bool CMailSearchCycle::rebuildIndex() {
    Trace::tracef("The index in %s is damaged; it is built again.\n",
                  Util::toNarrow(m_place.directory).c_str());
    closeIndexer();
    m_pSearcher.reset();
    m_bRebuilt = true;
    try {
        Search::discardIndex(m_place.directory);
    } catch (const CExceptionBase& e) {
        fail(describeWithCauses(e));
        return false;
    }
    m_matchedMessages.clear();
    m_searchedDirectories.clear();
    m_view.deleteAllRows();
    m_view.clearPreview();
    m_view.showNotice(StatusTexts::kIndexRebuilt);
    return true;
}

bool CMailSearchCycle::startIndexer() {
    for (;;) {
        try {
            m_pIndexer = std::make_unique<CRecursiveMailIndexer>(m_pSink, m_criteria, m_locations,
                                                                 m_pSearcher, m_place);
            if (m_readMessage)
                m_pIndexer->setMessageReader(m_readMessage);
            m_pIndexer->setRunNumber(++m_iRun);
            m_pIndexer->go();
            return true;
        } catch (const CIndexException& e) {
            m_pIndexer.reset();
            if (e.isDamage() && !m_bRebuilt && rebuildIndex())
                continue;
            indexingStopped(describeWithCauses(e));
        } catch (const CExceptionBase& e) {
            m_pIndexer.reset();
            indexingStopped(describeWithCauses(e));
        }
        return false;
    }
}

void CMailSearchCycle::indexingStopped(const std::wstring& reason) {
    // What the index held is still worth showing.
    if (!m_pIndexer) {
        m_matchedMessages.clear();
        m_searchedDirectories.clear();
        try {
            resetIndexSearcher();
            if (m_pSearcher)
                searchDirectories();
        } catch (const CExceptionBase& e) {
            Trace::tracef("Searching the index as it stands failed: %s\n",
                          Util::toNarrow(e.getMessage()).c_str());
        }
    }
    if (!m_sLastError.empty())
        return; // the search itself failed, and the status says so
    const std::wstring text = StatusTexts::indexingStopped(reason);
    fail(text);
    m_view.showIndexingFailure(text);
}

bool CMailSearchCycle::prepare(const SearchCriteria& criteria, const Directories& locations) {
    KERF_TRACE_ENTRY("CQoSearchDlg::startSearch");
    askIndexerToStop();
    m_pCentralRun.reset();
    m_bStartPending = false;
    m_stoppedStatus.reset();
    m_sLastError.clear();
    m_criteria = criteria;
    m_criteria.adjustDatesForSearch();
    m_locations = locations;
    if (m_locations.empty()) {
        setStatus(StatusTexts::kNoLocations);
        return false;
    }
    setStatus(StatusTexts::kSearching);
    chooseCentralLocations();
    setIncomplete(L"");
    m_forgotten.clear();
    m_finalStatus = nullptr;
    m_matchedMessages.clear();
    m_searchedDirectories.clear();
    m_view.deleteAllRows();
    m_view.clearPreview();
    startCentralSearch(std::move(m_pCentral));
    return true;
}

bool CMailSearchCycle::findNow(const SearchCriteria& criteria, const Directories& locations) {
    if (!prepare(criteria, locations))
        return false;
    if (m_pStopping) {
        m_bStartPending = true;
        return true;
    }
    return startRun();
}

bool CMailSearchCycle::startRun() {
    m_bRebuilt = false;
    m_bDamageFound = false;
    // The indexer skips what its searcher shows; a searcher opened before
    // an earlier run committed would have it read that run's files again.
    if (!openSearcher())
        return false;
    return startIndexer();
}

bool CMailSearchCycle::searchIndexOnly(const SearchCriteria& criteria,
                                       const Directories& locations) {
    if (!prepare(criteria, locations))
        return false;
    try {
        resetIndexSearcher();
        searchDirectories();
    } catch (const CExceptionBase& e) {
        fail(describeWithCauses(e));
        return false;
    }
    if (!m_sLastError.empty())
        return false;
    m_finalStatus = [this] {
        return withCentralNotice(StatusTexts::matchesFound(matchCount(), 0));
    };
    setStatus(m_finalStatus());
    return true;
}

void CMailSearchCycle::handle(const Search::IndexerEvent& event) {
    if (event.message == IndexerMessage::RowsArrived) {
        if (m_pCentralRun && event.run == m_pCentralRun->run())
            takeCentralRows();
        return;
    }
    if (m_pStopping && event.run == m_pStopping->getRunNumber()) {
        if (event.message == IndexerMessage::EndWork)
            finishStopping();
        return;
    }
    if (event.run != m_iRun || !m_pIndexer)
        return;
    switch (event.message) {
    case IndexerMessage::BeginWork:
        showSearchBegin();
        break;
    case IndexerMessage::EndWork:
        finishRun();
        break;
    case IndexerMessage::BeginScanningFile:
    case IndexerMessage::BeginBuildingMetadataItem:
    case IndexerMessage::BeginUpdatingIndexItem:
        break;
    default:
        updateStatusViaIndexer();
        break;
    }
}

void CMailSearchCycle::showSearchBegin() {
    m_matchedMessages.clear();
    m_searchedDirectories.clear();
    refreshSearch();
}

void CMailSearchCycle::finishRun() {
    if (!m_pIndexer)
        return;
    const std::wstring error = m_pIndexer->getLastError();
    const bool damaged =
        m_bDamageFound ||
        (!error.empty() && m_pIndexer->getLastErrorFault() == IndexFault::Damaged &&
         Search::confirmDamage(m_place.directory) == IndexFault::Damaged);
    if (damaged && !m_bRebuilt) {
        // The run that found the damage has ended: the index is built anew
        // and the search is run again on it.
        m_bDamageFound = false;
        if (rebuildIndex())
            startIndexer();
        return;
    }
    showSearchFinish();
    closeIndexer();
    if (!error.empty())
        indexingStopped(error);
}

void CMailSearchCycle::showSearchFinish(bool stopped) {
    if (!m_pIndexer)
        return;
    // Rows of the first pass may show a file that has since been found
    // changed or gone: the list is filled again from the updated index.
    if (m_pIndexer->getItemsChanged() + m_pIndexer->getItemsRemoved() > 0) {
        m_view.deleteAllRows();
        m_view.clearPreview();
        m_matchedMessages.clear();
        m_searchedDirectories.clear();
        // The central index's rows went with them: it is asked again.
        if (!m_centralLocations.empty())
            startCentralSearch(nullptr);
    }
    refreshSearch();
    if (!m_sLastError.empty())
        return; // the status already says what went wrong
    const CRecursiveMailIndexer::Progress progress = m_pIndexer->getProgress();
    const std::int64_t elapsed = m_pIndexer->getElapsedTime();
    std::wstring notSearched;
    if (!m_vUnreachable.empty()) {
        notSearched += L". Not searched, cannot be reached: ";
        for (size_t i = 0; i < m_vUnreachable.size(); ++i)
            notSearched += (i == 0 ? L"" : L"; ") + m_vUnreachable[i];
    }
    // Otherwise a folder the user may not read would just look empty.
    if (const std::size_t skipped = m_pIndexer->getDirectoriesSkipped(); skipped > 0)
        notSearched += StatusTexts::foldersNotRead(skipped);
    m_finalStatus = [this, stopped, progress, elapsed, notSearched] {
        return withCentralNotice(
            (stopped ? StatusTexts::stoppedEarly(matchCount(), progress.indexed, progress.remaining)
                     : StatusTexts::matchesFound(matchCount(), elapsed)) +
            notSearched);
    };
    const std::wstring status = m_finalStatus();
    setStatus(status);
    setIncomplete(stopped || !notSearched.empty() || m_bCentralIncomplete ? status : L"");
}

void CMailSearchCycle::forgetMessages(const std::vector<std::wstring>& paths) {
    for (const std::wstring& path : paths)
        if (m_matchedMessages.contains(path))
            m_forgotten.insert(path);
    showFinalStatusAgain(false);
}

void CMailSearchCycle::showFinalStatusAgain(bool incomplete) {
    // While it runs the search's own status follows the count.
    if (!m_finalStatus || isIndexing())
        return;
    incomplete = incomplete || (!m_sIncomplete.empty() && m_sIncomplete == m_sStatus);
    setStatus(m_finalStatus());
    if (incomplete)
        setIncomplete(m_sStatus);
}

std::size_t CMailSearchCycle::matchCount() const {
    std::size_t forgotten = 0;
    for (const std::wstring& path : m_forgotten)
        forgotten += m_matchedMessages.contains(path) ? 1 : 0;
    return m_matchedMessages.size() - forgotten;
}

void CMailSearchCycle::setIncomplete(const std::wstring& text) {
    m_sIncomplete = text;
    m_view.showIncompleteResults(text);
}

void CMailSearchCycle::refreshIfCommitted() {
    if (!m_pIndexer || !m_sLastError.empty() || !Search::Searcher::isIndexDirty(m_pSearcher))
        return;
    refreshSearch();
    if (m_sLastError.empty())
        updateStatusViaIndexer();
}

void CMailSearchCycle::updateStatusViaIndexer() {
    if (!m_pIndexer)
        return;
    // One reading of the counts for both, so that line and bar agree.
    const CRecursiveMailIndexer::Progress progress = m_pIndexer->getProgress();
    m_sStatus = m_pIndexer->buildStatusString(progress);
    m_view.showIndexerProgress(m_sStatus);
    m_view.showIndexerCounts(progress.indexed, progress.remaining);
}

void CMailSearchCycle::stop() {
    const bool centralStopped = stopCentralSearch();
    if (m_pIndexer) {
        showSearchFinish(true);
    } else if (m_bStartPending) {
        // The search waited for the previous run to end and never began.
        setStatus(StatusTexts::matchesFound(matchCount(), 0));
    } else {
        if (centralStopped)
            showFinalStatusAgain(true);
        return; // nothing else runs, or it is ending already
    }
    KERF_TRACE_ENTRY("CQoSearchDlg::stopSearch");
    m_bStartPending = false;
    askIndexerToStop();
    m_stoppedStatus = m_sStatus;
    setStatus(StatusTexts::kStopping);
}

void CMailSearchCycle::clear() {
    KERF_TRACE_ENTRY("CQoSearchDlg::stopSearch");
    askIndexerToStop();
    m_pCentralRun.reset();
    m_bStartPending = false;
    m_stoppedStatus.reset();
    m_view.deleteAllRows();
    m_view.clearPreview();
    setStatus(L"");
    setIncomplete(L"");
    m_forgotten.clear();
    m_finalStatus = nullptr;
}

void CMailSearchCycle::askIndexerToStop() {
    if (!m_pIndexer)
        return;
    // A run starts only once the previous stopped one has ended.
    KERF_ASSERT(!m_pStopping);
    if (m_pStopping)
        closeWithin(std::move(m_pStopping), kCloseGrace);
    m_pStopping = std::move(m_pIndexer);
    m_pStopping->requestStop();
}

void CMailSearchCycle::finishStopping() {
    std::unique_ptr<CRecursiveMailIndexer> stopped = std::move(m_pStopping);
    const std::wstring error = stopped->getLastError();
    if (!error.empty())
        Trace::tracef("Indexing ended early: %s\n", Util::toNarrow(error).c_str());
    // Its threads have ended: this closes the writer and waits for nothing.
    stopped.reset();
    if (m_bStartPending) {
        m_bStartPending = false;
        startRun();
        return;
    }
    if (m_stoppedStatus)
        setStatus(*m_stoppedStatus);
    m_stoppedStatus.reset();
}

void CMailSearchCycle::closeIndexer() {
    m_bStartPending = false;
    askIndexerToStop();
    if (!m_pStopping)
        return;
    closeWithin(std::move(m_pStopping), kCloseGrace);
    if (m_stoppedStatus)
        setStatus(*m_stoppedStatus);
    m_stoppedStatus.reset();
}

void CMailSearchCycle::closeWithin(std::unique_ptr<CRecursiveMailIndexer> indexer,
                                   std::chrono::milliseconds grace) {
    const std::wstring error = indexer->getLastError();
    if (!error.empty())
        Trace::tracef("Indexing ended early: %s\n", Util::toNarrow(error).c_str());
    indexer->requestStop();
    if (indexer->waitForWorker(std::chrono::steady_clock::now() + grace)) {
        indexer.reset(); // joins at once and closes the writer
        return;
    }
    // A read that does not return (a share that stopped answering) must not
    // keep the program from closing.
    Trace::tracef("The indexer's threads did not end within %lld ms; they are let go.\n",
                  static_cast<long long>(grace.count()));
    Search::Writer::CRecursiveIndexer::letGo(std::move(indexer));
}

void CMailSearchCycle::refreshSearch() {
    if (!m_pIndexer)
        return;
    beginWaitCursor();
    try {
        resetIndexSearcher();
        searchDirectories();
    } catch (const CIndexException& e) {
        if (e.isDamage())
            noteDamage();
        else
            fail(describeWithCauses(e));
    } catch (const CExceptionBase& e) {
        fail(describeWithCauses(e));
    }
    endWaitCursor();
}

void CMailSearchCycle::resetIndexSearcher() {
    if (Search::Searcher::isIndexDirty(m_pSearcher))
        m_pSearcher = Search::createIndexSearcher(m_place.directory);
}

void CMailSearchCycle::searchDirectories() {
    CMailQueryRunner runner(m_pSearcher, m_criteria, *this, &m_matchedMessages,
                            &m_searchedDirectories, &m_locations);
    runner.setLoadBody(m_bRowsCarryBody);
    const int waitDepth = m_iWaitDepth;
    try {
        runner.go();
        return;
    } catch (const CIndexException& e) {
        if (e.getFault() == IndexFault::Query)
            fail(L"The query could not be understood: " + e.getMessage());
        else if (e.getFault() == IndexFault::Damaged && m_pIndexer &&
                 Search::confirmDamage(m_place.directory) == IndexFault::Damaged)
            // Rebuilt once the running update has ended.
            noteDamage();
        else
            fail(L"The search could not be run: " + e.getMessage());
    } catch (const std::invalid_argument& e) {
        fail(L"The index holds a damaged entry: " + Util::toWide(e.what()));
    } catch (const CExceptionBase& e) {
        fail(e.getMessage());
    }
    // The runner stopped half-way: close what it opened.
    while (m_iWaitDepth > waitDepth)
        endWaitCursor();
    if (m_bBulkAdding)
        finishOptimisedAdd();
}

void CMailSearchCycle::beginWaitCursor() {
    ++m_iWaitDepth;
    m_view.beginWaitCursor();
}

void CMailSearchCycle::endWaitCursor() {
    --m_iWaitDepth;
    m_view.endWaitCursor();
}

void CMailSearchCycle::finishOptimisedAdd() {
    m_bBulkAdding = false;
    m_view.finishOptimisedAdd();
}

void CMailSearchCycle::startOptimisedAdd(std::size_t expectedRows) {
    m_bBulkAdding = true;
    m_view.startOptimisedAdd(expectedRows);
}

void CMailSearchCycle::InsertItem(const CEmailMetadata& record) {
    if (!m_forgotten.empty() && m_forgotten.contains(record.GetStringValue(L"Location")))
        return; // its file is gone; the index learns so on the next update
    m_view.insertItem(record);
}

void CMailSearchCycle::updateSearchStatus(std::size_t matches, std::size_t messages,
                                          std::size_t directories, bool force) {
    if (!StatusTexts::shouldShowSearchProgress(matches, force))
        return;
    setStatus(StatusTexts::searchProgress(matches, messages, directories));
    m_view.sortPendingRows();
}

void CMailSearchCycle::noteDamage() {
    m_bDamageFound = true;
    m_view.showNotice(StatusTexts::kIndexRebuilt);
}

void CMailSearchCycle::setStatus(const std::wstring& text) {
    m_sStatus = text;
    m_view.setStatusText(text);
}

void CMailSearchCycle::fail(const std::wstring& message) {
    m_sLastError = message;
    Trace::tracef("Search failed: %s\n", Util::toNarrow(message).c_str());
    setStatus(message);
}

void CMailSearchCycle::chooseCentralLocations() {
    m_pCentral.reset();
    m_centralLocations.clear();
    m_sCentralNotice.clear();
    if (!m_central.isSet())
        return;
    Directories local;
    Central::splitLocations(m_central, m_locations, m_centralLocations, local);
    if (m_centralLocations.empty())
        return;
    try {
        if (!Central::centralIndexAnswers(m_criteria))
            throw CExceptionBase(L"The central index takes no query text");
        m_pCentral =
            std::make_unique<Central::CPgConnection>(m_central.conninfo, Central::kAnswerWithin);
        m_locations = std::move(local);
    } catch (const CExceptionBase& e) {
        m_centralLocations.clear();
        m_sCentralNotice = Central::fallbackNotice(e.getMessage());
    }
}

void CMailSearchCycle::startCentralSearch(std::unique_ptr<Central::CPgConnection> connection) {
    m_pCentralRun.reset();
    m_bCentralIncomplete = false;
    if (m_centralLocations.empty())
        return;
    m_sCentralNotice.clear();
    m_pCentralRun =
        std::make_unique<CCentralSearchRun>(std::move(connection), m_central.conninfo, m_criteria,
                                            m_centralLocations, m_pSink, ++m_iCentralRun);
}

void CMailSearchCycle::takeCentralRows() {
    CCentralSearchRun::Batch batch = m_pCentralRun->take();
    if (!batch.records.empty()) {
        startOptimisedAdd(0);
        for (const CEmailMetadata& record : batch.records) {
            const std::wstring path = record.GetStringValue(L"Location");
            if (!m_matchedMessages.insert(path).second)
                continue;
            m_searchedDirectories.insert(path.substr(0, path.find_last_of(L'/') + 1));
            InsertItem(record);
        }
        finishOptimisedAdd();
    }
    if (!batch.finished) {
        showFinalStatusAgain(false);
        return;
    }
    m_pCentralRun.reset();
    if (!batch.error.empty()) {
        // Too late to hand these locations to the per-user index's update:
        // the status says that their matches are missing, or some of them.
        m_bCentralIncomplete = true;
        m_sCentralNotice = batch.arrived == 0 ? Central::failureNotice(batch.error)
                                              : Central::interruptedNotice(batch.error);
    }
    showFinalStatusAgain(m_bCentralIncomplete);
}

bool CMailSearchCycle::stopCentralSearch() {
    if (!m_pCentralRun)
        return false;
    m_pCentralRun.reset();
    m_bCentralIncomplete = true;
    m_sCentralNotice = Central::interruptedNotice(L"the search was stopped");
    return true;
}

std::wstring CMailSearchCycle::withCentralNotice(std::wstring status) const {
    if (!m_sCentralNotice.empty())
        status += L". " + m_sCentralNotice;
    return status;
}

} // namespace Kerf::QuireLib
