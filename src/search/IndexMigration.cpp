#include "search/IndexMigration.h"

#include "search/IndexFolder.h"
#include "search/IndexLocations.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <string_view>
#include <unistd.h>

namespace fs = std::filesystem;
using lucene::index::IndexReader;

namespace Kerf::Search {

namespace {

constexpr const char* kMarkName = "qosearch-file-states";

fs::path markOf(const std::wstring& indexDirectory) {
    return Util::toPath(indexDirectory) / kMarkName;
}

void mark(const std::wstring& indexDirectory) {
    const int fd = openOwnFile(markOf(indexDirectory).string(), O_WRONLY | O_TRUNC);
    if (fd < 0)
        return; // brought over again next time
    static constexpr std::string_view kText = "Every document carries its path, time and size.\n";
    if (::write(fd, kText.data(), kText.size()) < 0)
        Trace::tracef("Could not mark the index as brought over: %s\n", strerror(errno));
    ::close(fd);
}

} // namespace

bool needsBringingOver(const std::wstring& indexDirectory) {
    std::error_code ec;
    if (fs::exists(markOf(indexDirectory), ec))
        return false;
    return IndexReader::indexExists(Util::toNarrow(indexDirectory).c_str());
}

std::size_t bringIndexOver(const std::wstring& indexDirectory) {
    if (!needsBringingOver(indexDirectory))
        return 0;
    const std::string directory = Util::toNarrow(indexDirectory);
    std::size_t removed = 0;
    try {
        // It writes a list of deletions: 0600, as every file of the index.
        std::unique_ptr<IndexReader> reader(IndexReader::open(openIndexFolder(directory), true));
        for (const std::int32_t number : documentsWithoutFileState(*reader)) {
            reader->deleteDocument(number);
            ++removed;
        }
        reader->close();
    } catch (CLuceneError& e) {
        throw CExceptionBase(L"The index could not be brought up to date (" + indexDirectory + L")",
                             toException(e));
    }
    mark(indexDirectory);
    Trace::tracef("Brought the index over: %zu documents without a file state removed.\n", removed);
    return removed;
}

} // namespace Kerf::Search
