#include "cycle/MailSearchCycle.h"

#include "mail/StatusTexts.h"
#include "support/Strings.h"
#include "support/Trace.h"

namespace Kerf::QuireLib {

using Search::IndexerMessage;

CMailSearchCycle::CMailSearchCycle(ISearchView& view, std::shared_ptr<Search::IEventSink> sink,
                                   CRecursiveMailIndexer::IndexPlace place)
    : m_view(view), m_pSink(std::move(sink)), m_place(std::move(place)) {}

CMailSearchCycle::~CMailSearchCycle() {
    closeIndexer();
}

void CMailSearchCycle::initialise() {
    try {
        resetIndexSearcher();
        return;
    } catch (const CExceptionBase&) {
        // No index yet: opening a writer once creates it.
    }
    try {
        { CRecursiveMailIndexer opener(m_place); }
        resetIndexSearcher();
    } catch (const CExceptionBase& e) {
        fail(e.getMessage());
    }
}

bool CMailSearchCycle::prepare(const SearchCriteria& criteria, const Directories& locations) {
    KERF_TRACE_ENTRY("CQoSearchDlg::startSearch");
    closeIndexer();
    m_sLastError.clear();
    m_criteria = criteria;
    m_criteria.adjustDatesForSearch();
    m_locations = locations;
    if (m_locations.empty()) {
        setStatus(StatusTexts::kNoLocations);
        return false;
    }
    setStatus(StatusTexts::kSearching);
    m_view.deleteAllRows();
    m_view.clearPreview();
    return true;
}

bool CMailSearchCycle::findNow(const SearchCriteria& criteria, const Directories& locations) {
    if (!prepare(criteria, locations))
        return false;
    try {
        // The indexer skips what its searcher shows; a searcher opened before
        // an earlier run committed would have it read that run's files again.
        resetIndexSearcher();
        m_pIndexer = std::make_unique<CRecursiveMailIndexer>(m_pSink, m_criteria, m_locations,
                                                             m_pSearcher, m_place);
        m_pIndexer->go();
    } catch (const CExceptionBase& e) {
        m_pIndexer.reset();
        fail(e.getMessage());
        return false;
    }
    return true;
}

bool CMailSearchCycle::searchIndexOnly(const SearchCriteria& criteria,
                                       const Directories& locations) {
    if (!prepare(criteria, locations))
        return false;
    m_matchedMessages.clear();
    m_searchedDirectories.clear();
    try {
        resetIndexSearcher();
        searchDirectories();
    } catch (const CExceptionBase& e) {
        fail(e.getMessage());
        return false;
    }
    if (!m_sLastError.empty())
        return false;
    setStatus(StatusTexts::matchesFound(m_matchedMessages.size(), 0));
    return true;
}

void CMailSearchCycle::handle(IndexerMessage message) {
    switch (message) {
    case IndexerMessage::BeginWork:
        showSearchBegin();
        break;
    case IndexerMessage::EndWork:
        showSearchFinish();
        closeIndexer();
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

void CMailSearchCycle::showSearchFinish() {
    if (!m_pIndexer)
        return;
    // Rows of the first pass may show a file that has since been found
    // changed or gone: the list is filled again from the updated index.
    if (m_pIndexer->getItemsChanged() + m_pIndexer->getItemsRemoved() > 0) {
        m_view.deleteAllRows();
        m_view.clearPreview();
        m_matchedMessages.clear();
        m_searchedDirectories.clear();
    }
    refreshSearch();
    if (!m_sLastError.empty())
        return; // the status already says what went wrong
    std::wstring status =
        StatusTexts::matchesFound(m_matchedMessages.size(), m_pIndexer->getElapsedTime());
    if (!m_vUnreachable.empty()) {
        status += L". Not searched, cannot be reached: ";
        for (size_t i = 0; i < m_vUnreachable.size(); ++i)
            status += (i == 0 ? L"" : L"; ") + m_vUnreachable[i];
    }
    setStatus(status);
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
    showSearchFinish();
    KERF_TRACE_ENTRY("CQoSearchDlg::stopSearch");
    closeIndexer();
}

void CMailSearchCycle::clear() {
    KERF_TRACE_ENTRY("CQoSearchDlg::stopSearch");
    closeIndexer();
    m_view.deleteAllRows();
    m_view.clearPreview();
    setStatus(L"");
}

void CMailSearchCycle::closeIndexer() {
    if (!m_pIndexer)
        return;
    std::unique_ptr<CRecursiveMailIndexer> indexer = std::move(m_pIndexer);
    const std::wstring error = indexer->getLastError();
    indexer.reset(); // stops and joins the threads
    if (!error.empty())
        Trace::tracef("Indexing ended early: %s\n", Util::toNarrow(error).c_str());
}

void CMailSearchCycle::refreshSearch() {
    if (!m_pIndexer)
        return;
    beginWaitCursor();
    try {
        resetIndexSearcher();
        searchDirectories();
    } catch (const CExceptionBase& e) {
        fail(e.getMessage());
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
    } catch (CLuceneError& e) {
        if (e.number() == CL_ERR_Parse || e.number() == CL_ERR_TokenMgr)
            fail(L"The query could not be understood: " + Search::describe(e));
        else
            fail(L"The search could not be run: " + Search::describe(e));
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
    m_view.insertItem(record);
}

void CMailSearchCycle::updateSearchStatus(std::size_t matches, std::size_t messages,
                                          std::size_t directories, bool force) {
    if (!StatusTexts::shouldShowSearchProgress(matches, force))
        return;
    setStatus(StatusTexts::searchProgress(matches, messages, directories));
    m_view.sortPendingRows();
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

} // namespace Kerf::QuireLib
