#pragma once
// Brings the index up to date with the files below a list of root folders.
// A worker thread runs three stages joined by two bounded queues: the scan
// walks the folders and queues every matching file that the index does not
// hold yet or holds with another time or size, the build stage turns each
// path into a record (the slow step, supplied by a subclass), and the index
// stage writes one document per record, replacing the one a changed file had.
// A document whose file the walk no longer finds is removed at the end, but
// only when the folder that held it was listed completely and the walk was
// not stopped: a folder that cannot be read (or a share that is not mounted)
// looks empty, and must not empty the index. The class knows nothing about
// what the files are.
//
// A subclass supplies buildMetadata (whose record must carry the file's full
// path under "Location"), the index writer and searcher (set before go), and
// whatever progress reporting it wants through the hooks. Hooks run on the
// thread named beside them; those that end a stage thread must call the base
// version, or the next stage never ends. A subclass destructor must call
// stop() first, so that no hook runs on a half-destroyed object.

#include "search/BoundedQueue.h"
#include "search/EventSink.h"
#include "search/FileState.h"
#include "search/IndexStorage.h"
#include "search/IndexedFiles.h"
#include "search/Metadata.h"
#include "search/PathQueue.h"
#include "search/PathSet.h"
#include "support/Strings.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

namespace Kerf::Search::Writer {

class CRecursiveIndexer {
public:
    using Paths = std::vector<std::wstring>;

    /// Records the build stage holds ready before it waits for the index
    /// stage: enough to keep both busy, few enough that memory stays flat.
    static constexpr std::size_t kDefaultQueueCapacity = 256;
    /// Bytes of paths the walk may queue ahead of the build stage before it
    /// waits: a few hundred thousand files, so that on almost any tree the
    /// walk ends early and the count of files to read is known, while memory
    /// stays bounded on any tree.
    static constexpr std::size_t kDefaultPathQueueBytes = std::size_t{64} << 20;

    /// The index stage commits what it added once this long has passed, and
    /// after this many documents, and then after as many again as the run
    /// has committed so far: each commit writes a segment, and ten segments
    /// of a size are merged into one, which rewrites them all. So a long run
    /// leaves a few segments of growing size, and a run cut short still
    /// loses no more than the last few seconds.
    static constexpr std::size_t kFirstCommitAfterDocuments = 2000;
    static constexpr std::chrono::seconds kCommitEvery{10};

    CRecursiveIndexer();
    explicit CRecursiveIndexer(const Paths& directories);
    CRecursiveIndexer(const Paths& directories, const Paths& extensions);
    virtual ~CRecursiveIndexer();
    CRecursiveIndexer(const CRecursiveIndexer&) = delete;
    CRecursiveIndexer& operator=(const CRecursiveIndexer&) = delete;

    // Set-up, before go().
    void setDirectories(const Paths& directories) { m_directories = directories; }
    virtual const Paths& getDirectories() const { return m_directories; }
    /// Extensions without their dot, compared case-insensitively.
    void setExtensions(const Paths& extensions) { m_extensions = extensions; }
    const Paths& getExtensions() const { return m_extensions; }
    void setIndexWriter(IndexWriterPtr writer) { m_pIndexWriter = std::move(writer); }
    const IndexWriterPtr& getIndexWriter() const { return m_pIndexWriter; }
    /// The searcher that tells which files the index already holds; without
    /// one every matching file is indexed.
    void setIndexSearcher(IndexSearcherPtr searcher) { m_pIndexSearcher = std::move(searcher); }
    const IndexSearcherPtr& getIndexSearcher() const { return m_pIndexSearcher; }
    /// Held for subclasses (the analyzer their writer uses).
    void setAnalyzer(AnalyzerPtr analyzer) { m_pAnalyzer = std::move(analyzer); }
    const AnalyzerPtr& getAnalyzer() const { return m_pAnalyzer; }
    /// Held for subclasses that report progress; the base posts nothing.
    void setEventSink(std::shared_ptr<IEventSink> sink) { m_pEventSink = std::move(sink); }
    const std::shared_ptr<IEventSink>& getEventSink() const { return m_pEventSink; }
    /// The number every event of this indexer carries: the front end's count
    /// of its runs, so that it can drop what an earlier run still sends.
    void setRunNumber(std::uint64_t run) { m_iRun = run; }
    std::uint64_t getRunNumber() const { return m_iRun; }
    /// Records waiting for the index stage before the build stage waits.
    /// The mount table files that tell an empty folder from a share that is
    /// not mounted (the system's own unless a test names others).
    void setMountTables(std::string expected, std::string mounted) {
        m_sMountTable = std::move(expected);
        m_sMountedTable = std::move(mounted);
    }
    void setQueueCapacity(std::size_t capacity);
    /// Threads that build records at once (before go; at least one): with
    /// more than one, a file that is slow to read holds up only its own
    /// thread, and records reach the index stage in the order they are done.
    void setBuildThreads(unsigned count) { m_iBuildThreads = count < 1 ? 1 : count; }
    unsigned getBuildThreads() const { return m_iBuildThreads; }
    /// Bytes of paths waiting for the build stage before the walk waits.
    void setPathQueueBytes(std::size_t bytes) { m_itemsToBeRead.setCapacity(bytes); }

    /// Starts the worker and returns at once.
    virtual void go();
    /// Ends the run at the next test of every stage, waits for the worker,
    /// then flushes and closes the writer. The indexer cannot index again.
    virtual void stop();
    /// Asks every stage to end at its next test and returns at once; safe
    /// from any thread, hooks included.
    void requestStop();
    /// True once the index stage has ended; then also waits for the worker
    /// to finish its last hook, so that go() may be called again.
    virtual bool isFinished();
    /// Waits until the worker has ended or the deadline has passed; true
    /// when it has ended (or never started), so that destroying the indexer
    /// no longer waits on its threads.
    bool waitForWorker(std::chrono::steady_clock::time_point deadline);
    /// Lets go of an indexer whose threads may be stuck, say in a read from a
    /// share that stopped answering: asks it to stop and, unless its worker
    /// has ended already, detaches the worker, which then deletes the indexer
    /// (closing its writer) as the last thing it does. From this call on the
    /// indexer posts nothing, so its front end may go away.
    static void letGo(std::unique_ptr<CRecursiveIndexer> indexer);
    /// True once the indexer was let go; hooks must then post nothing.
    bool isLetGo() const { return m_bLetGo; }
    /// Documents added or replaced in this run.
    virtual std::size_t getCompletedItemsTotal() const;
    /// Of those, the documents that replaced one of a changed file.
    std::size_t getItemsChanged() const { return m_iItemsChanged; }
    /// Documents removed because their file is gone.
    std::size_t getItemsRemoved() const { return m_iItemsRemoved; }

    std::size_t getFilesMatched() const { return m_iFilesMatched; }
    std::size_t getDirectoriesScanned() const { return m_iDirectoriesScanned; }
    /// Directories that could not be listed and were left out of the walk.
    std::size_t getDirectoriesSkipped() const { return m_iDirectoriesSkipped; }
    /// Files whose record could not be built; they stay out of the index and
    /// are tried again by the next run.
    std::size_t getItemsFailed() const { return m_iItemsFailed; }
    /// Files the walk queued to be read in this run; each ends up indexed,
    /// failed, or dropped by a stop.
    std::size_t getItemsQueued() const { return m_iItemsQueued; }
    std::size_t getItemsToBeReadCount() const { return m_itemsToBeRead.size(); }
    std::size_t getItemsToBeIndexedCount() const { return m_itemsToBeIndexed.size(); }
    bool isStopRequested() const { return m_bStop; }
    /// The error that ended the last run early; empty when none did.
    std::wstring getLastError() const;
    /// What kind of failure that error was.
    IndexFault getLastErrorFault() const;
    /// True when the file was added to the index in this run.
    bool isIndexedFile(const std::wstring& path) const;

    virtual void addFileToIndex(const std::wstring& path);
    virtual void addFileToIndex(const QuireLib::CMetadataPtr& pMetadata);
    /// The record's texts and its "Size", in the order of CDocumentBuilder.
    /// Runs on the build thread, right after the record is read: the texts
    /// are analysed there, so that the index thread only writes.
    virtual std::unique_ptr<Document> buildDocument(const QuireLib::CMetadataPtr& pMetadata);
    /// Reads one file into a record. Every subclass overrides it.
    virtual QuireLib::CMetadataPtr buildMetadata(const std::wstring& path);

protected:
    // Worker thread.
    virtual void beginWorkThread() {}
    virtual void endWorkThread() {}

    // Scan thread.
    virtual void scanDirectory(const std::wstring& directory);
    /// True when the file must not be queued: the index holds it with the
    /// time and size it has now, or it was added or queued in this run.
    /// Overrides may also test the entry's time stamps.
    virtual bool ignore(const std::filesystem::directory_entry& entry);
    /// The time and size of the file being offered to ignore(); none when
    /// they could not be read. ignore() may come after the walk has moved on
    /// (see updatePathsIndexed), so these stand for the file, not the walk.
    const std::optional<FileState>& getScannedFileState() const { return m_scannedState; }
    virtual void beginScanningDirectoryThread();
    virtual void endScanningDirectoryThread();
    virtual void beginScanningDirectory(const std::wstring& /*directory*/) {}
    virtual void endScanningDirectory(const std::wstring& /*directory*/) {}
    virtual void beginScanningFile(const std::wstring& /*path*/) {}
    virtual void endScanningFile(const std::wstring& path);
    /// Fills m_pathsIndexed with what the index holds below root. It runs on
    /// a thread of its own while the walk of root starts: the files the walk
    /// meets before it ends wait, and are settled once it has. Of those, a
    /// file the index holds as it is now is skipped without asking ignore(),
    /// as the base version would skip it; any other is offered to ignore().
    virtual void updatePathsIndexed(const std::wstring& root);

    // Build threads (each runs all of these; the last to end finishes the
    // stage).
    virtual void buildMetadataFromQueue();
    virtual void beginBuildingMetadataThread();
    virtual void endBuildingMetadataThread();
    virtual void beginBuildingMetadata() {}
    virtual void endBuildingMetadata() {}
    virtual void beginBuildingMetadataItem(const std::wstring& /*path*/) {}
    virtual void endBuildingMetadataItem(const std::wstring& path);

    // Index thread.
    virtual void indexMetadataFromQueue();
    virtual void beginUpdatingIndexThread();
    virtual void endUpdatingIndexThread();
    virtual void beginUpdatingIndex() {}
    virtual void endUpdatingIndex();
    virtual void beginUpdatingIndexItem(const std::wstring& /*location*/) {}
    virtual void endUpdatingIndexItem(const std::wstring& location);
    /// Writes the record's document, replacing the one of a changed file
    /// (index thread). A subclass that keeps its index elsewhere writes the
    /// record there instead.
    virtual void addDocument(const QuireLib::CMetadataPtr& pMetadata, Document& document);
    /// Makes what was written so far last: called every few seconds while
    /// the index stage writes. The base flushes the writer.
    virtual void commitIndex();
    /// Removes the document of a file that is gone. The base deletes it
    /// through the writer.
    virtual void removeFromIndex(const std::wstring& path);

    /// Posts through the event sink; false when there is none or it refused.
    bool postEvent(IndexerMessage message);

    std::atomic<bool> m_bStop{false};
    std::atomic<bool> m_bScanningFinished{false};
    std::atomic<bool> m_bReadingFinished{false};
    std::atomic<bool> m_bIndexingFinished{false};

    /// What the index held below the current root when its walk began.
    /// Filled by updatePathsIndexed on the listing's thread; the scan thread
    /// reads it only once the listing has ended.
    CIndexedFiles m_pathsIndexed;

private:
    void start();
    void startWorker();
    void scanDirectoryThread();
    void buildMetadataThread();
    /// Ends the build stage: no more records come for the index stage.
    void finishBuilding();
    /// Destroys the written items handed back so far.
    void destroyWrittenItems();
    void indexMetadataThread();
    void scanRoot(const std::wstring& root);
    void scanEntry(const std::filesystem::directory_entry& entry);
    /// True when the link leads to a folder inside the current root.
    bool leadsInsideRoot(const std::filesystem::path& link) const;
    void offerFile(const std::filesystem::directory_entry& entry, const std::wstring& path);
    /// Marks the file as met and queues it unless ignore() says otherwise.
    void decideFile(const std::filesystem::directory_entry& entry, const std::wstring& path,
                    const std::optional<FileState>& state, bool firstMatch);
    void startListing(const std::wstring& root);
    /// True once the listing of the current root has ended (or none runs).
    bool isListingReady();
    void waitForListing();
    /// Decides on the files the walk met before the listing was ready.
    void settlePendingFiles();
    /// True when the index holds the file as it is now, or its state cannot
    /// be read: then it is not read again whatever else is true of it.
    static bool isHeldAsItIs(const CIndexedFiles::File* indexed,
                             const std::optional<FileState>& state);
    void addItemToBeRead(const std::wstring& path);
    /// Queues for removal what the index held below the root and the walk
    /// did not meet, where the walk may say that it is gone.
    void queueRemovals();
    bool mayRemove(const std::string& path) const;
    /// Applies the queued removals (index thread).
    void removeGoneFiles();
    /// Runs one step of a thread; an error that escapes it ends the whole run
    /// (keeping its message) instead of the process.
    template <typename Step> void guarded(const char* where, Step&& step);
    void abandonRun(const std::wstring& message, IndexFault fault = IndexFault::Other);

    IndexWriterPtr m_pIndexWriter;
    IndexSearcherPtr m_pIndexSearcher;
    AnalyzerPtr m_pAnalyzer;
    std::shared_ptr<IEventSink> m_pEventSink;
    std::uint64_t m_iRun = 0;

    /// Files added to the index by this indexer.
    CPathSet m_filesIndexed;
    /// Files queued in this run and not yet indexed: a file met again while
    /// on its way (overlapping roots, an extension listed twice) is queued
    /// once. Indexed files move to m_filesIndexed, so each path is held once.
    CPathSet m_filesQueued;
    /// Directories (device, inode) entered below the current root, so that a
    /// link back up the tree is not walked again.
    std::set<std::pair<unsigned long, unsigned long>> m_visitedDirectories;
    /// The current root with every link in its path resolved.
    std::filesystem::path m_rootReal;
    /// Directories (UTF-8 paths) entered below the current root, and those
    /// of them that were listed to the end without an error.
    std::unordered_set<std::string> m_directoriesEntered;
    std::unordered_set<std::string> m_directoriesRead;
    /// Mount points with nothing mounted now, read as the walk begins.
    std::unordered_set<std::string> m_unmountedMountPoints;
    std::string m_sMountTable = "/etc/fstab";
    std::string m_sMountedTable = "/proc/self/mounts";
    /// Files queued because they changed (guarded by m_filesIndexedLock).
    CPathSet m_filesChanged;
    /// Paths whose documents are to be removed (guarded by m_filesIndexedLock),
    /// and every path queued so in this run (scan thread).
    std::vector<std::wstring> m_pendingRemovals;
    CPathSet m_filesRemoved;
    std::optional<FileState> m_scannedState;

    /// A file the walk met before the listing was ready: its path (in
    /// m_pendingPaths, side by side with the others), state and the number
    /// of listed extensions it matched.
    struct PendingFile {
        std::size_t begin;
        std::size_t length;
        std::optional<FileState> state;
        std::size_t matches;
    };
    /// At most this many files wait for the listing (under 200 bytes each on
    /// a usual tree); then the walk waits for it as well.
    static constexpr std::size_t kMaxPendingFiles = 1 << 17;
    std::vector<PendingFile> m_pendingFiles;
    std::string m_pendingPaths;
    std::unique_ptr<std::thread> m_pListingThread;
    std::atomic<bool> m_bListingReady{false};
    /// The index's entry for the file being offered; null when it has none.
    CIndexedFiles::File* m_pScannedIndexed = nullptr;

    std::atomic<std::size_t> m_iFilesMatched{0};
    std::atomic<std::size_t> m_iDirectoriesScanned{0};
    std::atomic<std::size_t> m_iDirectoriesSkipped{0};
    std::atomic<std::size_t> m_iItemsFailed{0};
    std::atomic<std::size_t> m_iItemsQueued{0};
    std::atomic<std::size_t> m_iItemsChanged{0};
    std::atomic<std::size_t> m_iItemsRemoved{0};

    Paths m_directories;
    Paths m_extensions;
    unsigned m_iBuildThreads = 1;
    /// Build threads that have not ended yet in this run.
    std::atomic<unsigned> m_iBuildThreadsRunning{0};

    /// Guards m_filesIndexed, m_filesQueued and the completed total.
    mutable std::mutex m_filesIndexedLock;
    std::size_t m_iCompletedItemsTotal = 0;

    CPathQueue m_itemsToBeRead{kDefaultPathQueueBytes};
    /// A record read and its document, ready to be written.
    struct ReadyItem {
        QuireLib::CMetadataPtr record;
        std::unique_ptr<Document> document;
    };

    BoundedQueue<ReadyItem> m_itemsToBeIndexed{kDefaultQueueCapacity};
    /// Items the index stage has written, handed back to be destroyed by a
    /// build thread: freeing a document's many small blocks is work the one
    /// index thread need not do, and the blocks go back to the thread that
    /// made them.
    std::mutex m_writtenItemsLock;
    std::vector<ReadyItem> m_writtenItems;

    mutable std::mutex m_lastErrorLock;
    std::wstring m_sLastError;
    IndexFault m_lastErrorFault = IndexFault::Other;

    std::unique_ptr<std::thread> m_pWorkerThread;
    /// The worker's end and letGo() meet here: whichever comes second decides
    /// whether the worker deletes the indexer.
    std::mutex m_workerLock;
    std::condition_variable m_workerEnded;
    bool m_bWorkerEnded = false; // guarded by m_workerLock
    bool m_bOrphaned = false;    // guarded by m_workerLock: nobody owns the indexer
    std::atomic<bool> m_bLetGo{false};
    /// Whether go() ever ran (caller's thread only).
    bool m_bStarted = false;
};

} // namespace Kerf::Search::Writer
