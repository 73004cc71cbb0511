#pragma once
// Brings the central index up to date with the message files below a list of
// folders: the per-user indexer's walk, reader and rules for changed, moved
// and gone files (nothing is removed below a folder that could not be
// listed), writing rows to PostgreSQL instead of documents to CLucene. Every
// folder the walk enters has its readers recorded, within its parent's.

#include "central/MessageRows.h"
#include "search/RecursiveIndexer.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace Kerf::Central {

class CCentralIndexer : public Search::Writer::CRecursiveIndexer {
public:
    CCentralIndexer(std::string conninfo, const Paths& directories);
    ~CCentralIndexer() override;

    QuireLib::CMetadataPtr buildMetadata(const std::wstring& path) override;
    /// No CLucene document: the record's row is made here, on the reading
    /// thread, and kept until the writing thread sends it.
    std::unique_ptr<Search::Document> buildDocument(const QuireLib::CMetadataPtr&) override;
    void addFileToIndex(const QuireLib::CMetadataPtr& pMetadata) override;

    /// Files left out because their path cannot be written as text.
    std::size_t getItemsSkipped() const { return m_iItemsSkipped; }
    /// The error of the last commit, when the run's final one failed.
    std::wstring getCommitError() const;

protected:
    void updatePathsIndexed(const std::wstring& root) override;
    void scanDirectory(const std::wstring& directory) override;
    void beginScanningDirectory(const std::wstring& directory) override;
    void addDocument(const QuireLib::CMetadataPtr& pMetadata, Search::Document&) override {
        addFileToIndex(pMetadata);
    }
    void commitIndex() override;
    void removeFromIndex(const std::wstring& path) override;
    void endUpdatingIndex() override;

private:
    /// The readers of the folder (no trailing separator), as the walk found them.
    std::vector<std::string> readersOf(const std::string& folder);

    std::string m_sConninfo;
    CMessageRowWriter m_writer;
    /// The root being walked, whose own readers are not limited by its parent.
    std::wstring m_sCurrentRoot;
    mutable std::mutex m_foldersLock;
    std::map<std::string, std::vector<std::string>> m_folderReaders;
    /// Rows made on the reading threads, by path, not yet written.
    std::mutex m_rowsLock;
    std::map<std::string, MessageRow> m_rows;
    std::atomic<std::size_t> m_iItemsSkipped{0};
    std::wstring m_sCommitError;
};

} // namespace Kerf::Central
