#include "search/RecursiveIndexer.h"

#include "search/DocumentLayout.h"
#include "search/IndexLocations.h"
#include "search/MountPoints.h"
#include "search/ThreadPriority.h"
#include "support/Assert.h"
#include "support/Exception.h"
#include "support/Trace.h"

#include <cerrno>
#include <chrono>
#include <sys/stat.h>
#include <system_error>

namespace fs = std::filesystem;
using Kerf::QuireLib::CMetadata;
using Kerf::QuireLib::CMetadataPtr;

namespace Kerf::Search::Writer {

namespace {

constexpr const char* kConstructorName =
    "Kerf::Search::Writer::CRecursiveIndexer::CRecursiveIndexer";

std::string quoted(const char* label, const std::wstring& path) {
    return std::string(label) + "=\"" + Util::toNarrow(path) + "\"";
}

/// The file name at the end of a path, as the file system spells it.
const char* fileNameOf(const std::string& path) {
    const auto slash = path.rfind('/');
    return path.c_str() + (slash == std::string::npos ? 0 : slash + 1);
}

/// The text after the last dot of the file name, empty when it has none.
std::wstring extensionOf(const std::string& path) {
    const std::string_view name(fileNameOf(path));
    const auto dot = name.rfind('.');
    return dot == std::string_view::npos ? std::wstring() : Util::toWide(name.substr(dot + 1));
}

/// A directory's path as the walk and the index name it: UTF-8, without a
/// trailing separator (but "/" stays "/").
std::string directoryKey(std::string path) {
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

/// The "Path" term of a file. The writer keeps the terms it is handed until
/// it flushes, counting its references, so the term lives on the heap.
class PathTerm {
public:
    explicit PathTerm(const std::wstring& path)
        : m_pTerm(_CLNEW lucene::index::Term(Fields::kPath, toStoredText(path).c_str())) {}
    ~PathTerm() { _CLDECDELETE(m_pTerm); }
    PathTerm(const PathTerm&) = delete;
    PathTerm& operator=(const PathTerm&) = delete;
    lucene::index::Term* get() const { return m_pTerm; }

private:
    lucene::index::Term* m_pTerm;
};

std::string parentKey(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos)
        return {};
    return slash == 0 ? std::string("/") : path.substr(0, slash);
}

} // namespace

CRecursiveIndexer::CRecursiveIndexer() {
    KERF_TRACE_ENTRY(kConstructorName);
}

CRecursiveIndexer::CRecursiveIndexer(const Paths& directories) : m_directories(directories) {
    KERF_TRACE_ENTRY(kConstructorName);
}

CRecursiveIndexer::CRecursiveIndexer(const Paths& directories, const Paths& extensions)
    : m_directories(directories), m_extensions(extensions) {
    KERF_TRACE_ENTRY(kConstructorName);
}

CRecursiveIndexer::~CRecursiveIndexer() {
    KERF_TRACE_ENTRY("Kerf::Search::Writer::CRecursiveIndexer::~CRecursiveIndexer");
    try {
        CRecursiveIndexer::stop();
    } catch (...) {
        // stop() reports its own failures; nothing may leave a destructor.
    }
}

void CRecursiveIndexer::setQueueCapacity(std::size_t capacity) {
    m_itemsToBeIndexed.setCapacity(capacity);
}

// ---------------------------------------------------------------------------
// Control, from the caller's thread.

void CRecursiveIndexer::go() {
    KERF_TRACE_ENTRY("Kerf::Search::Writer::CRecursiveIndexer::go");
    m_bStop = false;
    start();
}

void CRecursiveIndexer::start() {
    KERF_ASSERT(!m_pWorkerThread);
    if (m_pWorkerThread)
        return;
    // Everything a run starts from is reset here, before any of its threads
    // exists, so that a stop() that comes early is never undone.
    m_bScanningFinished = false;
    m_bReadingFinished = false;
    m_bIndexingFinished = false;
    {
        std::lock_guard lock(m_filesIndexedLock);
        m_iCompletedItemsTotal = 0;
    }
    {
        std::lock_guard lock(m_lastErrorLock);
        m_sLastError.clear();
        m_lastErrorFault = IndexFault::Other;
    }
    m_iFilesMatched = 0;
    m_iDirectoriesScanned = 0;
    m_iDirectoriesSkipped = 0;
    m_iItemsFailed = 0;
    m_iItemsQueued = 0;
    m_iItemsChanged = 0;
    m_iItemsRemoved = 0;
    m_filesRemoved.clear();
    {
        std::lock_guard lock(m_filesIndexedLock);
        m_filesQueued.clear();
        m_filesChanged.clear();
        m_pendingRemovals.clear();
    }
    m_itemsToBeRead.reset();
    m_itemsToBeIndexed.reset();
    {
        std::lock_guard lock(m_workerLock);
        m_bWorkerEnded = false;
    }
    m_bStarted = true;
    m_pWorkerThread = std::make_unique<std::thread>([this] { startWorker(); });
}

void CRecursiveIndexer::requestStop() {
    m_bStop = true;
    // Wakes every stage that waits on a queue; what is left is dropped.
    m_itemsToBeRead.close();
    m_itemsToBeIndexed.close();
}

void CRecursiveIndexer::stop() {
    KERF_TRACE_ENTRY("Kerf::Search::Writer::CRecursiveIndexer::stop");
    requestStop();
    if (m_pWorkerThread) {
        m_pWorkerThread->join();
        m_pWorkerThread.reset();
    }
    KERF_ASSERT(!m_bStarted || isFinished());
    if (m_pIndexWriter) {
        try {
            m_pIndexWriter->flush();
            m_pIndexWriter->close();
        } catch (CLuceneError& e) {
            Trace::tracef("Closing the index writer failed: %s\n",
                          Util::toNarrow(describe(e)).c_str());
        }
        m_pIndexWriter.reset();
    }
}

bool CRecursiveIndexer::waitForWorker(std::chrono::steady_clock::time_point deadline) {
    if (!m_pWorkerThread)
        return true;
    std::unique_lock lock(m_workerLock);
    return m_workerEnded.wait_until(lock, deadline, [this] { return m_bWorkerEnded; });
}

void CRecursiveIndexer::letGo(std::unique_ptr<CRecursiveIndexer> indexer) {
    if (!indexer)
        return;
    KERF_TRACE_ENTRY("Kerf::Search::Writer::CRecursiveIndexer::letGo");
    indexer->m_bLetGo = true;
    indexer->requestStop();
    {
        std::lock_guard lock(indexer->m_workerLock);
        if (indexer->m_pWorkerThread && !indexer->m_bWorkerEnded) {
            indexer->m_pWorkerThread->detach();
            indexer->m_pWorkerThread.reset();
            indexer->m_bOrphaned = true;
            // The worker deletes it once its threads come back.
            indexer.release();
            return;
        }
    }
    // Ended already (or never started): destroying it waits for nothing.
    indexer.reset();
}

bool CRecursiveIndexer::isFinished() {
    if (!m_bIndexingFinished)
        return false;
    if (m_pWorkerThread) {
        m_pWorkerThread->join();
        m_pWorkerThread.reset();
    }
    return true;
}

std::size_t CRecursiveIndexer::getCompletedItemsTotal() const {
    std::lock_guard lock(m_filesIndexedLock);
    return m_iCompletedItemsTotal;
}

std::wstring CRecursiveIndexer::getLastError() const {
    std::lock_guard lock(m_lastErrorLock);
    return m_sLastError;
}

IndexFault CRecursiveIndexer::getLastErrorFault() const {
    std::lock_guard lock(m_lastErrorLock);
    return m_lastErrorFault;
}

bool CRecursiveIndexer::isIndexedFile(const std::wstring& path) const {
    std::lock_guard lock(m_filesIndexedLock);
    return m_filesIndexed.contains(path);
}

bool CRecursiveIndexer::postEvent(IndexerMessage message) {
    return !m_bLetGo && m_pEventSink && m_pEventSink->post(IndexerEvent{message, m_iRun});
}

// ---------------------------------------------------------------------------
// Threads.

template <typename Step> void CRecursiveIndexer::guarded(const char* where, Step&& step) {
    errno = 0;
    try {
        step();
    } catch (CLuceneError& e) {
        const int systemError = errno;
        abandonRun(Util::toWide(where) + L": " + describe(e), faultOf(e, systemError));
    } catch (const CIndexException& e) {
        abandonRun(Util::toWide(where) + L": " + e.getMessage(), e.getFault());
    } catch (const CExceptionBase& e) {
        abandonRun(Util::toWide(where) + L": " + e.getMessage());
    } catch (const std::exception& e) {
        abandonRun(Util::toWide(where) + L": " + Util::toWide(e.what()));
    } catch (...) {
        abandonRun(Util::toWide(where) + L": unknown error");
    }
}

void CRecursiveIndexer::abandonRun(const std::wstring& message, IndexFault fault) {
    Trace::tracef("Indexing ended early: %s\n", Util::toNarrow(message).c_str());
    {
        std::lock_guard lock(m_lastErrorLock);
        if (m_sLastError.empty()) {
            m_sLastError = message;
            m_lastErrorFault = fault;
        }
    }
    requestStop();
}

void CRecursiveIndexer::startWorker() {
    guarded("beginWorkThread", [this] { beginWorkThread(); });
    // The stages do the work the user waits for: they start at the priority
    // the worker was started with. Only then does the worker, which merely
    // waits for them, step back.
    std::vector<std::thread> stages;
    stages.reserve(2 + m_iBuildThreads);
    bool scanning = false;
    bool indexing = false;
    m_iBuildThreadsRunning = m_iBuildThreads;
    unsigned builders = 0;
    guarded("starting the indexing threads", [&] {
        stages.emplace_back([this] { scanDirectoryThread(); });
        scanning = true;
        for (; builders < m_iBuildThreads; ++builders)
            stages.emplace_back([this] { buildMetadataThread(); });
        stages.emplace_back([this] { indexMetadataThread(); });
        indexing = true;
    });
    lowerCurrentThreadPriority();
    // A stage that never ran cannot mark itself finished.
    if (!scanning)
        m_bScanningFinished = true;
    if (builders < m_iBuildThreads &&
        m_iBuildThreadsRunning.fetch_sub(m_iBuildThreads - builders) == m_iBuildThreads - builders)
        finishBuilding();
    if (!indexing)
        m_bIndexingFinished = true;
    for (auto& stage : stages)
        stage.join();
    guarded("endWorkThread", [this] { endWorkThread(); });
    {
        std::lock_guard lock(m_workerLock);
        m_bWorkerEnded = true;
        m_workerEnded.notify_all();
        if (!m_bOrphaned)
            return;
    }
    // Let go by its owner while the threads were still busy: nobody else
    // holds the indexer now. The destructor finds no worker to join and
    // closes the writer.
    delete this;
}

void CRecursiveIndexer::scanDirectoryThread() {
    guarded("beginScanningDirectoryThread", [this] { beginScanningDirectoryThread(); });
    guarded("scanning", [this] {
        m_unmountedMountPoints = unmountedMountPoints(m_sMountTable, m_sMountedTable);
        for (const auto& root : m_directories) {
            if (m_bStop)
                break;
            startListing(root);
            scanRoot(root);
            waitForListing();
            settlePendingFiles();
            if (!m_bStop)
                queueRemovals();
        }
    });
    // A walk cut short by an error may leave the listing running: it ends
    // before this thread does.
    waitForListing();
    std::vector<PendingFile>().swap(m_pendingFiles);
    std::string().swap(m_pendingPaths);
    guarded("endScanningDirectoryThread", [this] { endScanningDirectoryThread(); });
}

void CRecursiveIndexer::buildMetadataThread() {
    guarded("beginBuildingMetadataThread", [this] { beginBuildingMetadataThread(); });
    guarded("building metadata", [this] { buildMetadataFromQueue(); });
    guarded("endBuildingMetadataThread", [this] { endBuildingMetadataThread(); });
}

void CRecursiveIndexer::indexMetadataThread() {
    guarded("beginUpdatingIndexThread", [this] { beginUpdatingIndexThread(); });
    guarded("updating the index", [this] { indexMetadataFromQueue(); });
    guarded("endUpdatingIndexThread", [this] { endUpdatingIndexThread(); });
}

// ---------------------------------------------------------------------------
// Scan stage.

void CRecursiveIndexer::beginScanningDirectoryThread() {
    KERF_ASSERT(!m_bScanningFinished);
    KERF_ASSERT(!m_bReadingFinished);
    KERF_ASSERT(!m_bIndexingFinished);
}

void CRecursiveIndexer::endScanningDirectoryThread() {
    m_bScanningFinished = true;
    m_itemsToBeRead.finish();
}

void CRecursiveIndexer::startListing(const std::wstring& root) {
    m_bListingReady = false;
    m_pListingThread = std::make_unique<std::thread>([this, root] {
        guarded("listing the index", [&] { updatePathsIndexed(root); });
        m_bListingReady.store(true, std::memory_order_release);
    });
}

bool CRecursiveIndexer::isListingReady() {
    if (!m_pListingThread)
        return true;
    if (!m_bListingReady.load(std::memory_order_acquire))
        return false;
    waitForListing();
    return true;
}

void CRecursiveIndexer::waitForListing() {
    if (!m_pListingThread)
        return;
    m_pListingThread->join();
    m_pListingThread.reset();
}

void CRecursiveIndexer::updatePathsIndexed(const std::wstring& root) {
    m_pathsIndexed.clear();
    if (!m_pIndexSearcher || m_pIndexSearcher->getReader() == nullptr)
        return;
    lucene::index::IndexReader* reader = m_pIndexSearcher->getReader();
    // A listing older than the index would take files added since for new
    // ones and index them twice.
    std::unique_ptr<lucene::index::IndexReader> current;
    if (Searcher::isIndexDirty(reader)) {
        current.reset(lucene::index::IndexReader::open(reader->directory()));
        reader = current.get();
    }
    m_pathsIndexed.reserve(static_cast<std::size_t>(reader->numDocs()));
    std::string narrow;
    forEachFileBelow(*reader, root, [&](std::wstring_view path, const FileState& state) {
        m_pathsIndexed.add(Util::toNarrow(path, narrow), state);
        return !m_bStop;
    });
    m_pathsIndexed.finish();
    if (current)
        current->close();
}

void CRecursiveIndexer::scanRoot(const std::wstring& root) {
    // Per root: a later root inside an earlier one is walked again, so its
    // files are met under the path the later root names.
    m_visitedDirectories.clear();
    m_directoriesEntered.clear();
    m_directoriesRead.clear();
    std::error_code ec;
    m_rootReal = fs::canonical(Util::toPath(root), ec);
    scanDirectory(root);
}

void CRecursiveIndexer::scanDirectory(const std::wstring& directory) {
    if (Trace::isOn())
        Trace::tracef("Kerf::Search::Writer::CRecursiveIndexer::scanDirectory(%s)\n",
                      quoted("Directory", directory).c_str());
    const fs::path path = Util::toPath(directory);
    const std::string key = directoryKey(Util::toNarrow(directory));
    m_directoriesEntered.insert(key);
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0 &&
        !m_visitedDirectories.emplace(info.st_dev, info.st_ino).second) {
        // Reached again through a link: walking it twice could loop forever.
        Trace::tracef("Not walking %s again: it was reached through a link.\n", path.c_str());
        return;
    }
    beginScanningDirectory(directory);
    ++m_iDirectoriesScanned;
    std::error_code ec;
    fs::directory_iterator it(path, ec);
    if (ec) {
        // A folder we may not read is left out; the walk goes on beside it.
        ++m_iDirectoriesSkipped;
        Trace::tracef("Skipping the directory %s: %s\n", path.c_str(), ec.message().c_str());
    } else {
        const fs::directory_iterator end;
        std::size_t entries = 0;
        while (it != end && !m_bStop) {
            ++entries;
            scanEntry(*it);
            it.increment(ec);
            if (ec) {
                Trace::tracef("Listing %s ended early: %s\n", path.c_str(), ec.message().c_str());
                break;
            }
        }
        // Only a folder listed to the end tells that a file in it is gone;
        // an empty one where a share should be mounted tells nothing.
        const bool shareMissing = entries == 0 && m_unmountedMountPoints.count(key) != 0;
        if (!ec && !m_bStop && !shareMissing)
            m_directoriesRead.insert(key);
    }
    endScanningDirectory(directory);
}

void CRecursiveIndexer::scanEntry(const fs::directory_entry& entry) {
    // Files met before the listing was ready are settled as soon as it is.
    if (!m_pendingFiles.empty() && isListingReady())
        settlePendingFiles();
    std::error_code ec;
    // Both tests follow symbolic links: a link to a file is indexed under the
    // link's path; a link to a folder is walked (once, see scanDirectory)
    // only when the folder lies inside the root. A link out of the tree may
    // lead anywhere, "/" or "/proc" too, and the user chose the tree.
    if (entry.is_directory(ec)) {
        if (entry.is_symlink(ec) && !leadsInsideRoot(entry.path())) {
            Trace::tracef("Not following %s: it leads out of the folder being searched.\n",
                          entry.path().c_str());
            return;
        }
        scanDirectory(Util::fromPath(entry.path()));
        return;
    }
    // Pipes, sockets and devices are never read: opening a pipe would block.
    if (entry.is_regular_file(ec))
        offerFile(entry, Util::fromPath(entry.path()));
}

bool CRecursiveIndexer::leadsInsideRoot(const fs::path& link) const {
    std::error_code ec;
    const fs::path target = fs::canonical(link, ec);
    if (ec || m_rootReal.empty())
        return false;
    const std::string& root = m_rootReal.native();
    const std::string& inside = target.native();
    return inside.size() >= root.size() && inside.compare(0, root.size(), root) == 0 &&
           (inside.size() == root.size() || root.back() == '/' || inside[root.size()] == '/');
}

void CRecursiveIndexer::offerFile(const fs::directory_entry& entry, const std::wstring& path) {
    const std::wstring extension = extensionOf(entry.path().native());
    // Every listed extension is compared, so one listed twice matches twice.
    std::size_t matches = 0;
    for (const auto& accepted : m_extensions)
        matches += Util::compareNoCase(accepted, extension) == 0 ? 1 : 0;
    if (matches == 0)
        return;
    const std::optional<FileState> state = readFileState(entry.path());
    // The files that wait for the listing are few enough to keep in memory;
    // past that the walk waits too.
    if (m_pendingFiles.size() >= kMaxPendingFiles)
        waitForListing();
    const bool ready = isListingReady();
    if (ready)
        settlePendingFiles();
    for (std::size_t match = 0; match < matches; ++match) {
        beginScanningFile(path);
        ++m_iFilesMatched;
        if (ready)
            decideFile(entry, path, state, match == 0);
        endScanningFile(path);
    }
    if (!ready) {
        const std::string& native = entry.path().native();
        m_pendingFiles.push_back(PendingFile{m_pendingPaths.size(), native.size(), state, matches});
        m_pendingPaths += native;
    }
}

void CRecursiveIndexer::settlePendingFiles() {
    if (m_pendingFiles.empty())
        return;
    for (const PendingFile& pending : m_pendingFiles) {
        if (m_bStop)
            break;
        const std::string_view native(m_pendingPaths.data() + pending.begin, pending.length);
        CIndexedFiles::File* indexed = m_pathsIndexed.find(native);
        if (indexed != nullptr)
            indexed->seen = true;
        // What the base test would skip first needs no entry; nearly every
        // file that waited is one of these, since the listing is slow only
        // where the index holds much.
        if (isHeldAsItIs(indexed, pending.state))
            continue;
        std::error_code ec;
        const fs::directory_entry entry(fs::path(native), ec);
        if (ec)
            continue; // gone since the walk met it: the next run sees it so
        const std::wstring path = Util::toWide(native);
        m_scannedState = pending.state;
        m_pScannedIndexed = indexed;
        for (std::size_t match = 0; match < pending.matches; ++match)
            if (!ignore(entry))
                addItemToBeRead(path);
    }
    // Their memory goes back at once: it was needed only for the wait.
    std::vector<PendingFile>().swap(m_pendingFiles);
    std::string().swap(m_pendingPaths);
}

bool CRecursiveIndexer::isHeldAsItIs(const CIndexedFiles::File* indexed,
                                     const std::optional<FileState>& state) {
    // A file whose state cannot be read now is left as the index has it.
    return indexed != nullptr && (!state || indexed->state == *state);
}

void CRecursiveIndexer::decideFile(const fs::directory_entry& entry, const std::wstring& path,
                                   const std::optional<FileState>& state, bool firstMatch) {
    if (firstMatch) {
        m_scannedState = state;
        // Met, so not gone, even when a criterion leaves it unread.
        m_pScannedIndexed = m_pathsIndexed.find(entry.path().native());
        if (m_pScannedIndexed != nullptr)
            m_pScannedIndexed->seen = true;
    }
    if (!ignore(entry))
        addItemToBeRead(path);
}

bool CRecursiveIndexer::ignore(const fs::directory_entry& entry) {
    const CIndexedFiles::File* indexed = m_pScannedIndexed;
    if (isHeldAsItIs(indexed, m_scannedState))
        return true;
    const bool changed = indexed != nullptr;
    const std::string key = CPathSet::key(Util::fromPath(entry.path()));
    std::lock_guard lock(m_filesIndexedLock);
    if (m_filesQueued.containsKey(key) || m_filesIndexed.containsKey(key))
        return true;
    if (changed)
        m_filesChanged.insert(Util::fromPath(entry.path()));
    return false;
}

void CRecursiveIndexer::queueRemovals() {
    std::vector<std::wstring> gone;
    m_pathsIndexed.forEach([&](std::string_view path, const CIndexedFiles::File& file) {
        if (!file.seen && mayRemove(std::string(path)) &&
            m_filesRemoved.insertKey(std::string(path)))
            gone.push_back(Util::toWide(path));
    });
    if (gone.empty())
        return;
    std::lock_guard lock(m_filesIndexedLock);
    m_pendingRemovals.insert(m_pendingRemovals.end(), gone.begin(), gone.end());
}

bool CRecursiveIndexer::mayRemove(const std::string& path) const {
    // The nearest folder above the file that the walk entered must have been
    // listed completely: then the file, or a folder on its way, is not there.
    // A root that does not exist was entered and not listed.
    for (std::string folder = parentKey(path); !folder.empty(); folder = parentKey(folder)) {
        if (m_directoriesEntered.count(folder) != 0)
            return m_directoriesRead.count(folder) != 0;
        if (folder == "/")
            break;
    }
    return false;
}

void CRecursiveIndexer::addItemToBeRead(const std::wstring& path) {
    {
        std::lock_guard lock(m_filesIndexedLock);
        m_filesQueued.insert(path);
    }
    // Counted before the build stage can take it, so that the files read
    // never outnumber those queued.
    ++m_iItemsQueued;
    // Waits only when the walk is far ahead of the reader; a stop drops the
    // path.
    m_itemsToBeRead.push(path);
}

void CRecursiveIndexer::endScanningFile(const std::wstring& /*path*/) {
    // The stages hand work over through queues that wake the waiting side;
    // giving up the processor after every item would only cost a system call.
}

// ---------------------------------------------------------------------------
// Build stage.

void CRecursiveIndexer::beginBuildingMetadataThread() {
    KERF_ASSERT(!m_bReadingFinished);
    KERF_ASSERT(!m_bIndexingFinished);
}

void CRecursiveIndexer::endBuildingMetadataThread() {
    if (m_iBuildThreadsRunning.fetch_sub(1) == 1)
        finishBuilding();
}

void CRecursiveIndexer::finishBuilding() {
    m_bReadingFinished = true;
    m_itemsToBeIndexed.finish();
}

void CRecursiveIndexer::destroyWrittenItems() {
    std::vector<ReadyItem> written;
    std::lock_guard lock(m_writtenItemsLock);
    written.swap(m_writtenItems);
    // Destroyed once the lock is let go (declared before it).
}

void CRecursiveIndexer::buildMetadataFromQueue() {
    beginBuildingMetadata();
    while (!m_bStop) {
        destroyWrittenItems();
        // Waits for a path; none comes back once the walk has ended and the
        // queue is empty, or at once after a stop.
        std::optional<std::wstring> path = m_itemsToBeRead.pop();
        if (!path || m_bStop)
            break;
        beginBuildingMetadataItem(*path);
        CMetadataPtr pMetadata;
        std::unique_ptr<Document> document;
        try {
            // The state is taken before the file is read: a change while it
            // is read then shows as a difference on the next run.
            const std::optional<FileState> state = readFileState(Util::toPath(*path));
            pMetadata = buildMetadata(*path);
            KERF_ASSERT(pMetadata);
            if (!pMetadata)
                ++m_iItemsFailed;
            if (pMetadata && state)
                pMetadata->SetFileState(*state);
            if (pMetadata) {
                document = buildDocument(pMetadata);
                KERF_ASSERT(document);
            }
        } catch (CLuceneError& e) {
            ++m_iItemsFailed;
            Trace::tracef("Could not read %s: %s\n", Util::toNarrow(*path).c_str(),
                          Util::toNarrow(describe(e)).c_str());
        } catch (const CExceptionBase& e) {
            ++m_iItemsFailed;
            Trace::tracef("Could not read %s: %s\n", Util::toNarrow(*path).c_str(),
                          Util::toNarrow(e.getMessage()).c_str());
        } catch (const std::exception& e) {
            ++m_iItemsFailed;
            Trace::tracef("Could not read %s: %s\n", Util::toNarrow(*path).c_str(), e.what());
        }
        if (pMetadata && document)
            m_itemsToBeIndexed.push({std::move(pMetadata), std::move(document)});
        endBuildingMetadataItem(*path);
    }
    endBuildingMetadata();
}

void CRecursiveIndexer::endBuildingMetadataItem(const std::wstring& /*path*/) {
    // The stages hand work over through queues that wake the waiting side;
    // giving up the processor after every item would only cost a system call.
}

CMetadataPtr CRecursiveIndexer::buildMetadata(const std::wstring& /*path*/) {
    KERF_ASSERT(false && "No implementation of buildMetadata found.");
    return {};
}

// ---------------------------------------------------------------------------
// Index stage.

void CRecursiveIndexer::beginUpdatingIndexThread() {
    KERF_ASSERT(!m_bIndexingFinished);
}

void CRecursiveIndexer::endUpdatingIndexThread() {
    m_bIndexingFinished = true;
}

void CRecursiveIndexer::indexMetadataFromQueue() {
    beginUpdatingIndex();
    // A failed write ends the run, but what was written is still flushed.
    guarded("adding to the index", [this] {
        // Committed now and then, so that a run cut short (killed, switched
        // off) keeps all but its last few seconds, and the next run goes on
        // from there.
        std::size_t uncommitted = 0;
        std::size_t committed = 0;
        auto lastCommit = std::chrono::steady_clock::now();
        const auto commitWhenDue = [&] {
            const auto now = std::chrono::steady_clock::now();
            if (++uncommitted < std::max(kFirstCommitAfterDocuments, committed) &&
                now - lastCommit < kCommitEvery)
                return;
            commitIndex();
            committed += uncommitted;
            uncommitted = 0;
            lastCommit = now;
        };
        while (!m_bStop) {
            std::optional<ReadyItem> item = m_itemsToBeIndexed.pop();
            if (!item || m_bStop)
                break;
            const CMetadataPtr& pMetadata = item->record;
            const std::wstring location = pMetadata->GetStringValue(kLocationField);
            beginUpdatingIndexItem(location);
            addDocument(pMetadata, *item->document);
            {
                std::string key = CPathSet::key(location);
                std::lock_guard lock(m_filesIndexedLock);
                if (m_filesChanged.eraseKey(key))
                    ++m_iItemsChanged;
                m_filesQueued.eraseKey(key);
                m_filesIndexed.insertKey(std::move(key));
                ++m_iCompletedItemsTotal;
            }
            endUpdatingIndexItem(location);
            commitWhenDue();
            std::lock_guard lock(m_writtenItemsLock);
            m_writtenItems.push_back(std::move(*item));
        }
        // What the build threads did not take back is freed here.
        destroyWrittenItems();
        if (!m_bStop)
            removeGoneFiles();
    });
    endUpdatingIndex();
}

void CRecursiveIndexer::removeGoneFiles() {
    std::vector<std::wstring> gone;
    {
        std::lock_guard lock(m_filesIndexedLock);
        gone.swap(m_pendingRemovals);
    }
    for (const auto& path : gone) {
        if (m_bStop)
            break;
        removeFromIndex(path);
        ++m_iItemsRemoved;
    }
}

void CRecursiveIndexer::removeFromIndex(const std::wstring& path) {
    if (!m_pIndexWriter)
        throw CExceptionBase(L"No index writer is open.");
    PathTerm term(path);
    m_pIndexWriter->deleteDocuments(term.get());
}

void CRecursiveIndexer::commitIndex() {
    if (!m_pIndexWriter)
        return;
    ensureRoomFor(*m_pIndexWriter);
    m_pIndexWriter->flush();
}

void CRecursiveIndexer::endUpdatingIndex() {
    if (m_pIndexWriter)
        m_pIndexWriter->flush();
}

void CRecursiveIndexer::endUpdatingIndexItem(const std::wstring& /*location*/) {
    // The stages hand work over through queues that wake the waiting side;
    // giving up the processor after every item would only cost a system call.
}

void CRecursiveIndexer::addFileToIndex(const std::wstring& path) {
    if (Trace::isOn())
        Trace::tracef("Kerf::Search::Writer::CRecursiveIndexer::addFileToIndex(%s)\n",
                      quoted("File", path).c_str());
    const std::optional<FileState> state = readFileState(Util::toPath(path));
    CMetadataPtr pMetadata = buildMetadata(path);
    KERF_ASSERT(pMetadata);
    if (!pMetadata)
        return;
    if (state)
        pMetadata->SetFileState(*state);
    addFileToIndex(pMetadata);
}

void CRecursiveIndexer::addFileToIndex(const CMetadataPtr& pMetadata) {
    addDocument(pMetadata, *buildDocument(pMetadata));
}

void CRecursiveIndexer::addDocument(const CMetadataPtr& pMetadata, Document& document) {
    if (!m_pIndexWriter)
        throw CExceptionBase(L"No index writer is open.");
    const std::wstring location = pMetadata->GetStringValue(kLocationField);
    bool changed = false;
    {
        std::lock_guard lock(m_filesIndexedLock);
        changed = m_filesChanged.contains(location);
    }
    if (!changed) {
        Writer::add(*m_pIndexWriter, document);
        return;
    }
    // The document of the file's earlier contents goes in the same step.
    PathTerm term(location);
    m_pIndexWriter->updateDocument(term.get(), &document);
}

std::unique_ptr<Document> CRecursiveIndexer::buildDocument(const CMetadataPtr& pMetadata) {
    CDocumentBuilder builder(*pMetadata);
    Writer::add(builder.document(), Fields::kSize, pMetadata->GetSize());
    return builder.finish();
}

} // namespace Kerf::Search::Writer
