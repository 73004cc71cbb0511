#include "mail/RecursiveMailIndexer.h"

#include "mail/AddressFields.h"
#include "mail/EmailMetadataFile.h"
#include "mail/StatusTexts.h"
#include "search/DocumentLayout.h"
#include "search/IndexMigration.h"
#include "support/Assert.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <algorithm>
#include <ctime>
#include <thread>

namespace Kerf::QuireLib {

using Search::IndexerMessage;

CRecursiveMailIndexer::CRecursiveMailIndexer(const IndexPlace& place) : m_place(place) {
    setIndexWriter(buildIndexWriter());
}

CRecursiveMailIndexer::CRecursiveMailIndexer(std::shared_ptr<Search::IEventSink> sink,
                                             const SearchCriteria& criteria,
                                             const Paths& directories,
                                             Search::IndexSearcherPtr searcher,
                                             const IndexPlace& place)
    : CRecursiveIndexer(directories, Paths{L"msg"}), m_place(place), m_pWindow(std::move(sink)),
      m_bDateFilter(criteria.m_bSentAfter), m_dateFilterThreshold{
                                                Dates::toOleDate(criteria.m_dtSentAfter)} {
    setIndexSearcher(std::move(searcher));
    setBuildThreads(defaultReaderThreads());
    setIndexWriter(buildIndexWriter());
    // The writer is opened first, as it clears a lock that a crashed process
    // left behind; bringing an older index over needs that lock itself.
    if (Search::needsBringingOver(place.directory)) {
        setIndexWriter(nullptr);
        Search::bringIndexOver(place.directory);
        setIndexWriter(buildIndexWriter());
    }
}

CRecursiveMailIndexer::~CRecursiveMailIndexer() {
    // Threads that end while the indexer goes away must not report to a
    // front end that may be gone already.
    m_bClosing = true;
    try {
        stop();
    } catch (...) {
        Trace::tracef("Stopping the mail indexer failed.\n");
    }
}

Search::IndexWriterPtr CRecursiveMailIndexer::buildIndexWriter() {
    Search::IndexWriterPtr writer = Search::createIndexWriter(m_place.root, m_place.directory);
    setAnalyzer(Search::Analyzer::create());
    return writer;
}

CMetadataPtr CRecursiveMailIndexer::buildMetadata(const std::wstring& path) {
    if (Trace::isOn())
        Trace::tracef("CRecursiveMailIndexer::buildMetadata(%s)\n", Util::toNarrow(path).c_str());
    return m_readMessage(path);
}

CMetadataPtr CRecursiveMailIndexer::readMessageFile(const std::wstring& path) {
    return std::make_shared<CEmailMetadata_File>(path, true);
}

CRecursiveMailIndexer::MessageReader
CRecursiveMailIndexer::messageFileReader(const DocumentText::Limits& limits) {
    return [limits](const std::wstring& path) {
        return std::make_shared<CEmailMetadata_File>(path, true, limits);
    };
}

unsigned CRecursiveMailIndexer::defaultReaderThreads() {
    // Reading is mostly parsing: one thread a core, within reason.
    return std::clamp(std::thread::hardware_concurrency(), 2u, 4u);
}

std::unique_ptr<Search::Document>
CRecursiveMailIndexer::buildDocument(const CMetadataPtr& pMetadata) {
    // The generic document's fields plus the mail ones, in the one order
    // that the readers of documents rely on.
    Search::CDocumentBuilder builder(*pMetadata);
    Search::Document& document = builder.document();
    Search::Writer::add(document, Search::Fields::kSize, pMetadata->GetSize());
    const auto* mail = dynamic_cast<const CEmailMetadata*>(pMetadata.get());
    KERF_ASSERT(mail != nullptr);
    const CEmailMetadata empty;
    const CEmailMetadata& record = mail != nullptr ? *mail : empty;
    Search::Writer::add(document, L"SentDate", record.GetSentDate());
    Search::Writer::add(document, L"EmbeddedAttachments", record.GetEmbeddedAttachments());
    Search::Writer::add(document, L"NonEmbeddedAttachments", record.GetNonEmbeddedAttachments());
    AddressFields::add(document, record);
    if (!record.GetAttachmentText().empty())
        builder.addLongText(L"Attachments", record.GetAttachmentText());
    return builder.finish();
}

bool CRecursiveMailIndexer::ignore(const std::filesystem::directory_entry& entry) {
    if (CRecursiveIndexer::ignore(entry))
        return true;
    if (!m_bDateFilter)
        return false;
    // A file last written before the "sent after" day cannot hold a message
    // sent after it, so it is skipped without being opened.
    const std::optional<Search::FileState>& state = getScannedFileState();
    KERF_ASSERT(state.has_value());
    // Whole seconds, as the file system's time stamps are compared by day.
    const std::int64_t written = state ? state->modified / 1000000000 : 0;
    const double writtenDate = Dates::toOleDate(Dates::fromUnixLocal(written));
    return m_dateFilterThreshold.m_dt > writtenDate;
}

void CRecursiveMailIndexer::beginWorkThread() {
    CRecursiveIndexer::beginWorkThread();
    startTimer();
    post(IndexerMessage::BeginWork, "m_pWindow->PostMessage(UWM_BEGIN_WORK)");
}

void CRecursiveMailIndexer::endWorkThread() {
    finishTimer();
    post(IndexerMessage::EndWork, "m_pWindow->PostMessage(UWM_END_WORK)");
    CRecursiveIndexer::endWorkThread();
}

// Reading message files needs no per-thread set-up here; the hooks stay so
// that subclasses can add their own.
void CRecursiveMailIndexer::beginBuildingMetadataThread() {
    CRecursiveIndexer::beginBuildingMetadataThread();
}

void CRecursiveMailIndexer::endBuildingMetadataThread() {
    CRecursiveIndexer::endBuildingMetadataThread();
}

void CRecursiveMailIndexer::endUpdatingIndexItem(const std::wstring& location) {
    CRecursiveIndexer::endUpdatingIndexItem(location);
    if (getCompletedItemsTotal() % 10 == 0)
        post(IndexerMessage::EndUpdatingIndexItem,
             "m_pWindow->PostMessage(UWM_END_UPDATING_INDEX_ITEM)");
}

void CRecursiveMailIndexer::post(IndexerMessage message, const char* expression) {
    if (m_bClosing || isLetGo() || !m_pWindow)
        return;
    if (!m_pWindow->post(Search::IndexerEvent{message, getRunNumber()}))
        reportAssertion(__FILE__, __LINE__, expression);
}

void CRecursiveMailIndexer::startTimer() {
    std::lock_guard lock(m_timerLock);
    m_tStart = static_cast<std::int64_t>(std::time(nullptr));
}

void CRecursiveMailIndexer::finishTimer() {
    std::lock_guard lock(m_timerLock);
    m_tFinish = static_cast<std::int64_t>(std::time(nullptr));
    m_tElapsed = m_tFinish - m_tStart;
}

std::int64_t CRecursiveMailIndexer::getElapsedTime() const {
    std::lock_guard lock(m_timerLock);
    return m_tElapsed;
}

std::wstring CRecursiveMailIndexer::getRemainingTimeAsString(std::size_t indexed,
                                                             std::size_t remaining) {
    finishTimer();
    return StatusTexts::remainingTime(static_cast<double>(getElapsedTime()), indexed, remaining);
}

CRecursiveMailIndexer::Progress CRecursiveMailIndexer::getProgress() const {
    Progress progress;
    // Remaining is what the walk has queued and is neither indexed nor
    // failed yet, however far the walk has run ahead of the reader. Read in
    // this order, the files done never outnumber those queued: a file is
    // counted as queued before it can be read.
    const std::size_t failed = getItemsFailed();
    progress.indexed = getCompletedItemsTotal();
    const std::size_t done = failed + progress.indexed;
    const std::size_t queued = getItemsQueued();
    progress.remaining = queued > done ? queued - done : 0;
    return progress;
}

std::wstring CRecursiveMailIndexer::buildStatusString(const Progress& progress) {
    return StatusTexts::indexingProgress(
        progress.indexed, progress.remaining,
        getRemainingTimeAsString(progress.indexed, progress.remaining));
}

std::wstring CRecursiveMailIndexer::buildStatusString() {
    return buildStatusString(getProgress());
}

} // namespace Kerf::QuireLib
