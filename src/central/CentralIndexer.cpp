#include "central/CentralIndexer.h"

#include "central/FolderReaders.h"
#include "mail/EmailMetadata.h"
#include "mail/RecursiveMailIndexer.h"
#include "support/Exception.h"
#include "support/Strings.h"
#include "support/Trace.h"

namespace Kerf::Central {
namespace {

std::string withoutTrailingSlash(std::string folder) {
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    return folder;
}

std::string parentOf(const std::string& folder) {
    const auto slash = folder.find_last_of('/');
    if (slash == std::string::npos || slash == 0)
        return "/";
    return folder.substr(0, slash);
}

} // namespace

CCentralIndexer::CCentralIndexer(std::string conninfo, const Paths& directories)
    : CRecursiveIndexer(directories, Paths{L"msg"}), m_sConninfo(conninfo),
      m_writer(std::move(conninfo)) {
    // The words are analysed where the messages are read, on as many threads
    // as the per-user indexer reads with; one thread writes the rows.
    setBuildThreads(QuireLib::CRecursiveMailIndexer::defaultReaderThreads());
}

CCentralIndexer::~CCentralIndexer() {
    try {
        stop();
    } catch (...) {
        Trace::tracef("Stopping the central indexer failed.\n");
    }
}

QuireLib::CMetadataPtr CCentralIndexer::buildMetadata(const std::wstring& path) {
    return QuireLib::CRecursiveMailIndexer::readMessageFile(path);
}

std::unique_ptr<Search::Document>
CCentralIndexer::buildDocument(const QuireLib::CMetadataPtr& pMetadata) {
    const auto* record = dynamic_cast<const QuireLib::CEmailMetadata*>(pMetadata.get());
    // A path that is no text gets no row (addFileToIndex leaves it out).
    if (record != nullptr && isServerPath(record->GetStringValue(L"Location"))) {
        MessageRow row = messageRowOf(*record);
        std::lock_guard lock(m_rowsLock);
        m_rows.insert_or_assign(row.path, std::move(row));
    }
    return std::make_unique<Search::Document>();
}

void CCentralIndexer::scanDirectory(const std::wstring& directory) {
    if (m_sCurrentRoot.empty() || directory.rfind(m_sCurrentRoot, 0) != 0)
        m_sCurrentRoot = directory;
    CRecursiveIndexer::scanDirectory(directory);
}

void CCentralIndexer::beginScanningDirectory(const std::wstring& directory) {
    const std::string folder = withoutTrailingSlash(Util::toNarrow(directory));
    std::vector<std::string> readers = folderReaders(folder).value_or(std::vector<std::string>{});
    std::lock_guard lock(m_foldersLock);
    if (withoutTrailingSlash(Util::toNarrow(m_sCurrentRoot)) != folder) {
        const auto parent = m_folderReaders.find(parentOf(folder));
        if (parent != m_folderReaders.end())
            readers = readersWithin(parent->second, readers);
    }
    m_folderReaders[folder] = std::move(readers);
}

std::vector<std::string> CCentralIndexer::readersOf(const std::string& folder) {
    {
        std::lock_guard lock(m_foldersLock);
        if (auto found = m_folderReaders.find(folder); found != m_folderReaders.end())
            return found->second;
    }
    return folderReaders(folder).value_or(std::vector<std::string>{});
}

void CCentralIndexer::updatePathsIndexed(const std::wstring& root) {
    m_pathsIndexed.clear();
    // The listing runs on a thread of its own, so it has a connection of its
    // own. A server that cannot be reached lists nothing, and the run then
    // fails at its first write, removing nothing.
    try {
        CPgConnection connection(m_sConninfo);
        forEachRowBelow(connection, root, [this](std::string_view path, const auto& state) {
            m_pathsIndexed.add(path, state);
            return !m_bStop;
        });
    } catch (const CExceptionBase& e) {
        Trace::tracef("Listing the central index failed: %s\n",
                      Util::toNarrow(e.getMessage()).c_str());
        requestStop();
    }
    m_pathsIndexed.finish();
}

void CCentralIndexer::addFileToIndex(const QuireLib::CMetadataPtr& pMetadata) {
    const auto* record = dynamic_cast<const QuireLib::CEmailMetadata*>(pMetadata.get());
    const std::wstring path = pMetadata->GetStringValue(L"Location");
    if (record == nullptr || !isServerPath(path)) {
        ++m_iItemsSkipped;
        Trace::tracef("Left out of the central index (name is not text): %s\n",
                      Util::toNarrow(path).c_str());
        return;
    }
    const std::string narrowPath = Util::toNarrow(path);
    const std::string folder = parentOf(narrowPath);
    const std::int64_t folderId = m_writer.writeFolder(folder, readersOf(folder));
    std::wstring location;
    for (const auto& directory : getDirectories())
        if (path.rfind(TrailDirectorySlash(directory), 0) == 0 &&
            directory.size() > location.size())
            location = directory;
    std::optional<MessageRow> row;
    {
        std::lock_guard lock(m_rowsLock);
        if (auto made = m_rows.extract(narrowPath))
            row = std::move(made.mapped());
    }
    m_writer.writeMessage(location, folderId, row ? std::move(*row) : messageRowOf(*record));
}

void CCentralIndexer::commitIndex() {
    m_writer.commit();
}

void CCentralIndexer::removeFromIndex(const std::wstring& path) {
    m_writer.removeMessage(path);
}

void CCentralIndexer::endUpdatingIndex() {
    {
        // Rows of records a stop left in the queue.
        std::lock_guard lock(m_rowsLock);
        m_rows.clear();
    }
    // Runs after a stop as well: what was written up to the stop is kept.
    try {
        // A folder whose rights changed while none of its files did gets its
        // new readers too.
        std::map<std::string, std::vector<std::string>> folders;
        {
            std::lock_guard lock(m_foldersLock);
            folders = m_folderReaders;
        }
        if (!m_bStop)
            for (const auto& [folder, readers] : folders)
                m_writer.writeFolder(folder, readers);
        m_writer.commit();
    } catch (const CExceptionBase& e) {
        std::lock_guard lock(m_foldersLock);
        m_sCommitError = e.getMessage();
    }
}

std::wstring CCentralIndexer::getCommitError() const {
    std::lock_guard lock(m_foldersLock);
    return m_sCommitError;
}

} // namespace Kerf::Central
