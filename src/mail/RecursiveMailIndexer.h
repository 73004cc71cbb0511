#pragma once
// The indexer for saved message files: only ".msg" files take part (with the
// "sent after" criterion, only those written since), each becomes an e-mail
// record with its sent date and attachment counts, and the front end hears
// when the work begins, ends and every tenth message is indexed.

#include "mail/SearchCriteria.h"
#include "search/EventSink.h"
#include "search/RecursiveIndexer.h"
#include "text/DocumentText.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace Kerf::QuireLib {

class CRecursiveMailIndexer : public Search::Writer::CRecursiveIndexer {
public:
    /// Where the index lives: the per-user root that is tidied (empty: no
    /// tidying, for an index the user named) and the index itself.
    struct IndexPlace {
        std::wstring root;
        std::wstring directory;
    };

    /// No front end, no date filter, no extension list: opens (and so creates
    /// when missing) the index and nothing more.
    explicit CRecursiveMailIndexer(const IndexPlace& place);
    /// One update of the index for the directories, reporting to the sink.
    CRecursiveMailIndexer(std::shared_ptr<Search::IEventSink> sink, const SearchCriteria& criteria,
                          const Paths& directories, Search::IndexSearcherPtr searcher,
                          const IndexPlace& place);
    ~CRecursiveMailIndexer() override;

    /// Reads one message file into a record.
    using MessageReader = std::function<CMetadataPtr(const std::wstring& path)>;
    /// The reader every indexer uses unless told otherwise: the saved-message file's own.
    static CMetadataPtr readMessageFile(const std::wstring& path);
    /// The same reader with other limits on the attachments' text (the time
    /// one message may take, say).
    static MessageReader messageFileReader(const DocumentText::Limits& limits);
    /// Messages read at once: a message whose attachments are slow to read
    /// holds up one of them, and the others go on.
    static unsigned defaultReaderThreads();
    /// Replaces how message files are read (before go); a test uses it to
    /// make a read wait.
    void setMessageReader(MessageReader reader) { m_readMessage = std::move(reader); }

    Search::IndexWriterPtr buildIndexWriter();
    CMetadataPtr buildMetadata(const std::wstring& path) override;
    std::unique_ptr<Search::Document> buildDocument(const CMetadataPtr& pMetadata) override;

    void startTimer();
    void finishTimer();
    std::int64_t getElapsedTime() const;
    std::wstring getRemainingTimeAsString(std::size_t indexed, std::size_t remaining);

    /// The messages indexed so far and those still to read or index.
    struct Progress {
        std::size_t indexed = 0;
        std::size_t remaining = 0;
    };
    Progress getProgress() const;
    /// The progress line for those counts ("Indexed:...").
    std::wstring buildStatusString(const Progress& progress);
    std::wstring buildStatusString();

protected:
    bool ignore(const std::filesystem::directory_entry& entry) override;
    void beginWorkThread() override;
    void endWorkThread() override;
    void beginBuildingMetadataThread() override;
    void endBuildingMetadataThread() override;
    void endUpdatingIndexItem(const std::wstring& location) override;

private:
    void post(Search::IndexerMessage message, const char* expression);

    IndexPlace m_place;
    std::shared_ptr<Search::IEventSink> m_pWindow;
    MessageReader m_readMessage = &CRecursiveMailIndexer::readMessageFile;
    std::int64_t m_tStart = 0;
    std::int64_t m_tFinish = 0;
    std::int64_t m_tElapsed = 0;
    mutable std::mutex m_timerLock;
    std::atomic<bool> m_bClosing{false};
    bool m_bDateFilter = false;
    OleDate m_dateFilterThreshold;
};

} // namespace Kerf::QuireLib
