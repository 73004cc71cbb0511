#include "search/IndexStorage.h"

#include "search/IndexFolder.h"
#include "search/IndexHealth.h"
#include "search/WordAnalyzer.h"
#include "search/WordQueryParser.h"
#include "support/Paths.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <sys/file.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace fs = std::filesystem;
using lucene::document::Field;
using lucene::index::IndexReader;
using lucene::index::IndexWriter;
using lucene::queryParser::QueryParser;
using lucene::search::BooleanQuery;
using lucene::search::IndexSearcher;
using lucene::search::Query;

namespace Kerf::Search {
namespace {

// CLucene's own lock file outlives a process that died with a writer open,
// and then no writer can be opened again. Beside it every writer of ours holds
// an advisory lock on this file: the kernel drops that lock when the process
// dies, so a CLucene lock with no advisory lock held behind it is stale. flock
// locks belong to the open file, so a second writer in this same process sees
// the first as alive too.
constexpr const char* kOwnerFileName = "qosearch-writer.owner";

class OwnerLock {
public:
    explicit OwnerLock(const std::string& directory) {
        const std::error_code made = Paths::makePrivateFolder(directory);
        // Nothing in a folder that is not the user's own is opened at all.
        m_sRefusal = refusalOfIndexFolder(directory);
        if (!m_sRefusal.empty())
            return;
        m_fd = openOwnFile(directory + "/" + kOwnerFileName, O_RDWR);
        // A folder that could not be made is missing for open; say why it is.
        if (m_fd < 0)
            m_iOpenError = errno == ENOENT && made ? made.value() : errno;
        if (m_fd >= 0 && ::flock(m_fd, LOCK_EX | LOCK_NB) != 0) {
            ::close(m_fd);
            m_fd = -1;
            m_bHeldElsewhere = true;
        }
    }
    ~OwnerLock() {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    OwnerLock(const OwnerLock&) = delete;
    OwnerLock& operator=(const OwnerLock&) = delete;

    bool owned() const { return m_fd >= 0; }
    bool heldElsewhere() const { return m_bHeldElsewhere; }
    /// Why the file could not be opened (errno), 0 when it could.
    int openError() const { return m_iOpenError; }
    /// Why the folder is not one to keep an index in; empty when it is.
    const std::wstring& refusal() const { return m_sRefusal; }
    /// Why no lock was taken, for the user.
    std::wstring whyNotOwned() const {
        if (!m_sRefusal.empty())
            return m_sRefusal;
        if (m_bHeldElsewhere)
            return L"Another index writer is open on this index.";
        return Util::toWide(strerror(m_iOpenError));
    }

private:
    std::wstring m_sRefusal;
    int m_fd = -1;
    int m_iOpenError = 0;
    bool m_bHeldElsewhere = false;
};

void clearStaleLock(const std::string& directory, const OwnerLock& owner) {
    if (!owner.owned())
        return;
    try {
        if (IndexReader::isLocked(directory.c_str())) {
            Trace::tracef("Kerf::Search::Writer::create - %s\n",
                          "Clearing the lock left by a writer that ended without closing.\n");
            IndexReader::unlock(directory.c_str());
        }
    } catch (CLuceneError&) {
        // No index there yet: nothing is locked.
    }
}

// Without a limit of its own CLucene throws on a field of more than 10,000
// words, so one long message body would fail. Words past this many are left
// out, which keeps the memory one document may take bounded.
constexpr int32_t kMaxWordsPerField = 1000000;

IndexWriter* openWriter(const std::string& directory, lucene::analysis::Analyzer* analyzer,
                        bool create) {
    return new IndexWriter(openIndexFolder(directory), analyzer, create, true);
}

IndexWriterPtr wrapWriter(IndexWriter* writer, AnalyzerPtr analyzer,
                          std::shared_ptr<OwnerLock> owner) {
    writer->setMaxFieldLength(kMaxWordsPerField);
    return IndexWriterPtr(writer, [analyzer, owner](IndexWriter* w) {
        try {
            w->close();
        } catch (CLuceneError& e) {
            Trace::tracef("Closing the index writer failed: %s\n", e.what());
        }
        delete w;
    });
}

/// A field indexed from terms analysed beforehand, and not stored (a stored
/// field of the same name carries the text). CLucene neither deletes nor
/// owns a field's token stream, so the field does.
class AnalyzedField : public Field {
public:
    AnalyzedField(const wchar_t* name, std::shared_ptr<const CAnalyzedText> terms)
        : Field(name, static_cast<int>(Field::STORE_NO) | static_cast<int>(Field::INDEX_TOKENIZED)),
          m_stream(std::move(terms)) {
        setValue(&m_stream);
    }

private:
    CAnalyzedTokenStream m_stream;
};

wchar_t* escapeQueryText(const std::wstring& value) {
    return QueryParser::escape(value.c_str());
}

/// The path as two spellings of one folder compare equal: without "." or
/// ".." steps and without a trailing separator.
fs::path comparable(const fs::path& path) {
    fs::path normal = path.lexically_normal();
    if (!normal.has_filename() && normal.has_parent_path() && normal != normal.root_path())
        normal = normal.parent_path();
    return normal;
}

/// The first file of the folder that CLucene takes for one of an index's
/// (and would delete when it opens or creates one there) but whose name is
/// not one it writes: someone else's file. Empty when there is none.
std::string foreignIndexFile(const std::string& directory) {
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(directory, ec)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_regular_file(ec) && isTakenForIndexFile(name) && !isIndexFileName(name))
            return name;
    }
    return {};
}

bool holdsIndex(const fs::path& directory) {
    try {
        return IndexReader::indexExists(directory.c_str());
    } catch (CLuceneError&) {
        return false;
    }
}

} // namespace

// CLucene writes stored text as 16-bit units: a character past U+FFFF comes
// back cut to its low 16 bits. Such characters are stored as UTF-16 pairs and
// joined again on reading. Our own texts never hold a lone high surrogate
// (undecodable file-name bytes become U+DC80..U+DCFF), so a high surrogate in
// stored text always starts a pair.
namespace {

bool takesAPair(wchar_t c) {
    const auto cp = static_cast<std::uint32_t>(c);
    return cp > 0xFFFF && cp <= 0x10FFFF;
}

} // namespace

std::size_t storedLength(std::wstring_view text) {
    return text.size() +
           static_cast<std::size_t>(std::count_if(text.begin(), text.end(), takesAPair));
}

void writeStoredText(std::wstring_view text, std::size_t length, wchar_t* out) {
    // Nearly every text lies in the first plane: copied in one go.
    if (length == text.size()) {
        std::wmemcpy(out, text.data(), text.size());
        return;
    }
    for (const wchar_t c : text) {
        if (takesAPair(c)) {
            const auto cp = static_cast<std::uint32_t>(c) - 0x10000;
            *out++ = static_cast<wchar_t>(0xD800 + (cp >> 10));
            *out++ = static_cast<wchar_t>(0xDC00 + (cp & 0x3FF));
        } else {
            *out++ = c;
        }
    }
}

std::wstring toStoredText(const std::wstring& text) {
    const std::size_t length = storedLength(text);
    if (length == text.size())
        return text;
    std::wstring stored(length, L'\0');
    writeStoredText(text, length, stored.data());
    return stored;
}

std::wstring fromStoredText(const wchar_t* stored) {
    const std::wstring_view view(stored);
    // Nearly every stored text has no pair to join: copy it in one go.
    if (std::none_of(view.begin(), view.end(),
                     [](wchar_t c) { return c >= 0xD800 && c <= 0xDBFF; }))
        return std::wstring(view);
    std::wstring text;
    for (const wchar_t* p = stored; *p != 0; ++p) {
        const auto high = static_cast<std::uint32_t>(p[0]);
        const auto low = static_cast<std::uint32_t>(p[1]);
        if (high >= 0xD800 && high <= 0xDBFF && low >= 0xDC00 && low <= 0xDFFF) {
            text.push_back(
                static_cast<wchar_t>(0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00)));
            ++p;
        } else {
            text.push_back(*p);
        }
    }
    return text;
}

std::wstring describe(CLuceneError& error) {
    const wchar_t* text = error.twhat();
    return text != nullptr ? std::wstring(text) : std::wstring(L"unknown index error");
}

CExceptionBase toException(CLuceneError& error) {
    return CExceptionBase(describe(error));
}

IndexWriterPtr createIndexWriter(const std::wstring& indexRoot,
                                 const std::wstring& indexDirectory) {
    KERF_TRACE_ENTRY("Kerf::Search::createIndexWriter");
    if (!indexRoot.empty())
        tidyIndexDirectory(indexRoot, indexDirectory);
    return Writer::create(indexDirectory);
}

IndexSearcherPtr createIndexSearcher(const std::wstring& indexDirectory) {
    KERF_TRACE_ENTRY("Kerf::Search::createIndexSearcher");
    return Searcher::create(indexDirectory);
}

void tidyIndexDirectory(const std::wstring& indexRoot, const std::wstring& indexDirectory) {
    if (Trace::isOn()) {
        const std::string args = "indexRoot=\"" + Util::toNarrow(indexRoot) +
                                 "\", indexDirectory=\"" + Util::toNarrow(indexDirectory) + "\"";
        Trace::tracef("Kerf::Search::tidyIndexDirectory(%s)\n", args.c_str());
    }
    const fs::path root = Util::toPath(indexRoot);
    std::error_code ec;
    if (!fs::is_directory(root, ec))
        return;
    const fs::path live = comparable(Util::toPath(indexDirectory));
    std::vector<fs::path> doomed;
    for (const auto& entry : fs::directory_iterator(root)) {
        if (!entry.is_directory() || entry.is_symlink())
            continue;
        // Only an index of another format version goes: a folder that holds
        // anything else may be the user's, and the program did not make it.
        if (comparable(entry.path()) != live && holdsIndex(entry.path()))
            doomed.push_back(entry.path());
    }
    // The index's own files go; the folder only when nothing else was in it.
    for (const auto& dir : doomed)
        removeIndexFolder(dir.string());
}

void clearDirectory(const std::wstring& directory) {
    if (Trace::isOn()) {
        const std::string args = "directory=\"" + Util::toNarrow(directory) + "\"";
        Trace::tracef("Kerf::Search::clearDirectory(%s)\n", args.c_str());
    }
    for (const auto& entry : fs::directory_iterator(Util::toPath(directory))) {
        if (entry.is_directory() && !entry.is_symlink())
            continue;
        fs::remove(entry.path());
    }
}

void discardIndex(const std::wstring& indexDirectory) {
    KERF_TRACE_ENTRY("Kerf::Search::discardIndex");
    const std::string directory = Util::toNarrow(indexDirectory);
    // Never under a writer that is still at work, here or in another process.
    OwnerLock owner(directory);
    if (!owner.owned())
        throw CIndexException(L"Index usage problem (" + indexDirectory + L")",
                              CExceptionBase(owner.whyNotOwned()), IndexFault::Unavailable);
    for (const auto& entry : fs::directory_iterator(Util::toPath(indexDirectory))) {
        if (entry.is_regular_file() && isIndexFileName(entry.path().filename().string()))
            fs::remove(entry.path());
    }
}

namespace Analyzer {
AnalyzerPtr create() {
    return std::make_shared<CWordAnalyzer>(WordUse::Searching);
}
} // namespace Analyzer

namespace Writer {

IndexWriterPtr create(const std::wstring& indexDirectory) {
    KERF_TRACE_ENTRY("Kerf::Search::Writer::create");
    const std::wstring problem = L"Index directory creation problem (" + indexDirectory + L")";
    const std::string directory = Util::toNarrow(indexDirectory);
    if (const std::string foreign = foreignIndexFile(directory); !foreign.empty())
        throw CIndexException(problem,
                              CExceptionBase(L"The folder holds \"" + Util::toWide(foreign) +
                                             L"\", which is not part of an index; an index is "
                                             L"made only in a folder of its own or an empty one."),
                              IndexFault::Unavailable);
    // Fields arrive analysed already (see add); the writer's own analyzer
    // serves only text given to it some other way.
    AnalyzerPtr analyzer = std::make_shared<CWordAnalyzer>(WordUse::Indexing);
    auto owner = std::make_shared<OwnerLock>(directory);
    // A folder we cannot even write a small file in holds no writer.
    if (!owner->owned())
        throw CIndexException(problem, CExceptionBase(owner->whyNotOwned()),
                              IndexFault::Unavailable);
    clearStaleLock(directory, *owner);
    if (holdsIndex(directory)) {
        // An index that is there is opened, never replaced: when it cannot
        // be opened the caller learns whether it is damaged or unreachable.
        errno = 0;
        try {
            return wrapWriter(openWriter(directory, analyzer.get(), false), analyzer, owner);
        } catch (CLuceneError& e) {
            throw toIndexException(problem, e, errno, indexDirectory);
        }
    }
    if (Trace::isOn()) {
        Trace::tracef("Kerf::Search::Writer::create - %s\n",
                      "First chance failure to create index.\n");
        Trace::tracef("Kerf::Search::Writer::create - %s\n", "Attempting to create index.\n");
    }
    errno = 0;
    try {
        IndexWriterPtr writer =
            wrapWriter(openWriter(directory, analyzer.get(), true), analyzer, owner);
        writer->setUseCompoundFile(true);
        writer->optimize();
        return writer;
    } catch (CLuceneError& e) {
        throw toIndexException(problem, e, errno);
    } catch (const std::exception& e) {
        throw CIndexException(problem, CExceptionBase(Util::toWide(e.what())), IndexFault::Other);
    }
}

namespace {

/// A field holding the text as it is stored (see toStoredText), written
/// straight into the one block the field keeps: CLucene would otherwise
/// copy a copy, and a message body is long.
Field* storedTextField(const std::wstring& name, const std::wstring& value, int config) {
    const std::size_t length = storedLength(value);
    // CLucene frees a field's text with free().
    auto* text = static_cast<wchar_t*>(std::malloc((length + 1) * sizeof(wchar_t)));
    if (text == nullptr)
        throw std::bad_alloc();
    writeStoredText(value, length, text);
    text[length] = 0;
    return new Field(name.c_str(), text, config, /*duplicateValue=*/false);
}

} // namespace

void add(Document& document, const std::wstring& name, const std::wstring& value,
         FieldIndex index) {
    const int stored = static_cast<int>(Field::STORE_YES);
    if (index == FieldIndex::Untokenized) {
        document.add(
            *storedTextField(name, value, stored | static_cast<int>(Field::INDEX_UNTOKENIZED)));
        return;
    }
    if (index != FieldIndex::TokenizedUnstored)
        document.add(*storedTextField(name, value, stored | static_cast<int>(Field::INDEX_NO)));
    // The text is analysed here, on the thread that builds the document, so
    // that the writer's one thread only inverts the terms.
    if (index != FieldIndex::StoredOnly)
        document.add(
            *new AnalyzedField(name.c_str(), std::make_shared<const CAnalyzedText>(value)));
}

void add(Document& document, const std::wstring& name, std::int32_t value, FieldIndex index) {
    add(document, name, std::to_wstring(static_cast<std::int64_t>(value)), index);
}

std::wstring dateToString(const DateTime& value) {
    return Util::toWide(Dates::toIndexText(value));
}

void add(Document& document, const std::wstring& name, const DateTime& value, FieldIndex index) {
    // A damaged message may claim any year; the stored text must stay 14
    // digits, or every later search that reads it fails.
    static constexpr DateTime kEarliest{1000, 1, 1, 0, 0, 0};
    static constexpr DateTime kLatest{9999, 12, 31, 23, 59, 59};
    add(document, name, dateToString(std::clamp(value, kEarliest, kLatest)), index);
}

void add(Document& document, const std::wstring& name, const OleDate& value, FieldIndex index) {
    add(document, name, Dates::fromOleDate(value.m_dt), index);
}

void ensureRoomFor(IndexWriter& writer) {
    const auto* directory = dynamic_cast<lucene::store::FSDirectory*>(writer.getDirectory());
    struct statvfs info {};
    if (directory == nullptr || ::statvfs(directory->getDirName(), &info) != 0)
        return;
    const auto available = static_cast<std::uint64_t>(info.f_bavail) * info.f_frsize;
    if (available >= kMinimumFreeBytes)
        return;
    throw CIndexException(
        L"Not enough free space for the index in " + Util::toWide(directory->getDirName()),
        CExceptionBase(Util::toWide(std::strerror(ENOSPC))), IndexFault::Unavailable);
}

void add(IndexWriter& writer, Document& document) {
    ensureRoomFor(writer);
    writer.addDocument(&document);
}

} // namespace Writer

namespace Searcher {

namespace {

/// The text of a query part, as CLucene writes it.
std::wstring textOf(const Query& query) {
    TCHAR* text = query.toString();
    std::wstring result(text);
    free(text);
    return result;
}

/// The first prefix, wildcard or range of the query that alone matches more
/// words than the highest clause limit allows, as text ("Body:a*"); the whole
/// query text when only their sum is too large.
std::wstring partMatchingTooManyWords(Query& query, IndexReader& reader) {
    std::vector<Query*> parts{&query};
    for (std::size_t i = 0; i < parts.size(); ++i) {
        Query* part = parts[i];
        if (auto* boolean = dynamic_cast<BooleanQuery*>(part)) {
            std::vector<lucene::search::BooleanClause*> clauses(boolean->getClauseCount());
            boolean->getClauses(clauses.data());
            for (auto* clause : clauses)
                parts.push_back(clause->getQuery());
            continue;
        }
        BooleanQuery::setMaxClauseCount(kHighestClauseLimit);
        try {
            Query* rewritten = part->rewrite(&reader);
            if (rewritten != part)
                _CLDELETE(rewritten);
        } catch (CLuceneError& e) {
            if (e.number() == CL_ERR_TooManyClauses)
                return textOf(*part);
        }
    }
    return textOf(query);
}

} // namespace

IndexSearcherPtr create(const std::wstring& indexDirectory) {
    KERF_TRACE_ENTRY("Kerf::Search::Searcher::create");
    const std::wstring problem = L"Index usage problem (" + indexDirectory + L")";
    if (const std::wstring refusal = refusalOfIndexFolder(Util::toNarrow(indexDirectory));
        !refusal.empty())
        throw CIndexException(problem, CExceptionBase(refusal), IndexFault::Unavailable);
    errno = 0;
    try {
        return IndexSearcherPtr(new IndexSearcher(Util::toNarrow(indexDirectory).c_str()),
                                [](IndexSearcher* s) {
                                    try {
                                        s->close();
                                    } catch (CLuceneError&) {
                                    }
                                    delete s;
                                });
    } catch (CLuceneError& e) {
        throw toIndexException(problem, e, errno, indexDirectory);
    } catch (const std::exception& e) {
        throw CIndexException(problem, CExceptionBase(Util::toWide(e.what())), IndexFault::Other);
    }
}

HitsPtr getHits(IndexSearcher& searcher, const std::wstring& query) {
    AnalyzerPtr analyzer = Analyzer::create();
    return getHits(searcher, *analyzer, L"Body", query);
}

std::wstring buildPhraseQuery(const std::wstring& field, const std::wstring& value) {
    wchar_t* escaped = escapeQueryText(value);
    std::wstring text = field + L":\"" + escaped + L"\"";
    free(escaped);
    return text;
}

HitsPtr getHits(IndexSearcher& searcher, const std::wstring& field, const std::wstring& value) {
    return getHits(searcher, buildPhraseQuery(field, value));
}

HitsPtr getHits(IndexSearcher& searcher, lucene::analysis::Analyzer& analyzer,
                const std::wstring& defaultField, const std::wstring& queryText) {
    if (queryText.size() > kLongestQueryText)
        throw CIndexException(L"The search is too long: the words and the folder's path together "
                              L"may have at most " +
                                  std::to_wstring(kLongestQueryText) + L" characters",
                              IndexFault::Query);
    CWordQueryParser parser(defaultField.c_str(), &analyzer);
    std::unique_ptr<Query> query;
    try {
        query.reset(parser.parseText(queryText));
    } catch (CLuceneError& e) {
        throw toIndexException(L"", e, 0);
    }
    // Prefixes and ranges become one clause per matching word while the
    // query runs; the hits are collected in that same run, so the limit can
    // go back to rest as soon as it ends.
    for (;;) {
        try {
            auto hits = std::make_shared<CHitList>(searcher, *query);
            BooleanQuery::setMaxClauseCount(kRestingClauseLimit);
            return hits;
        } catch (CLuceneError& e) {
            const int systemError = errno;
            const std::size_t limit = BooleanQuery::getMaxClauseCount();
            if (e.number() != CL_ERR_TooManyClauses || limit >= kHighestClauseLimit) {
                const bool tooMany = e.number() == CL_ERR_TooManyClauses;
                std::wstring part;
                if (tooMany)
                    part = partMatchingTooManyWords(*query, *searcher.getReader());
                BooleanQuery::setMaxClauseCount(kRestingClauseLimit);
                if (tooMany)
                    throw CTooManyWordsError(L"Too many words match " + part +
                                             L"; type more letters");
                throw toIndexException(L"", e, systemError);
            }
            BooleanQuery::setMaxClauseCount(std::min(limit * 2, kHighestClauseLimit));
        }
    }
}

HitsPtr getHits(IndexSearcher& searcher, lucene::analysis::Analyzer& analyzer,
                const std::wstring& defaultField, const std::wstring& field,
                const std::wstring& value) {
    return getHits(searcher, analyzer, defaultField, buildPhraseQuery(field, value));
}

const wchar_t* get(Document& document, const std::wstring& name) {
    return document.get(name.c_str());
}

std::wstring getAsString(Document& document, const std::wstring& name) {
    const wchar_t* value = get(document, name);
    return value != nullptr ? fromStoredText(value) : std::wstring();
}

std::int32_t getAsInt32(Document& document, const std::wstring& name) {
    const std::string text = Util::toNarrow(getAsString(document, name));
    std::int64_t value = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || ec != std::errc() || end != text.data() + text.size() ||
        value < INT32_MIN || value > INT32_MAX)
        throw std::invalid_argument("not a 32-bit number: \"" + text + "\"");
    return static_cast<std::int32_t>(value);
}

DateTime getAsDateTime(Document& document, const std::wstring& name) {
    return Dates::fromIndexText(Util::toNarrow(getAsString(document, name)));
}

bool isIndexDirty(IndexReader* reader) {
    if (reader == nullptr)
        return true;
    try {
        return !reader->isCurrent();
    } catch (CLuceneError&) {
        return true; // an index that cannot even be asked has changed under us
    }
}

bool isIndexDirty(const IndexSearcherPtr& searcher) {
    if (!searcher)
        return true;
    return isIndexDirty(searcher->getReader());
}

} // namespace Searcher
} // namespace Kerf::Search
