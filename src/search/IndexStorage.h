#pragma once
// The thin layer through which the program opens, creates, tidies and reads
// its one full-text index. Every field is stored; values are encoded as text
// (numbers in decimal, dates as 14-digit wall-clock text).

#include "search/HitList.h"
#include "search/IndexHealth.h"
#include "support/DateTime.h"
#include "support/Exception.h"

#include <CLucene.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace Kerf::Search {

using IndexWriterPtr = std::shared_ptr<lucene::index::IndexWriter>;
using IndexSearcherPtr = std::shared_ptr<lucene::search::IndexSearcher>;
using AnalyzerPtr = std::shared_ptr<lucene::analysis::Analyzer>;
using HitsPtr = std::shared_ptr<CHitList>;
using Document = lucene::document::Document;

/// How a field is kept: stored and analysed into words (the usual), stored
/// and indexed as one term, analysed but not stored (words that belong to a
/// field whose stored text is another's), or stored alone.
enum class FieldIndex { Tokenized, Untokenized, TokenizedUnstored, StoredOnly };

/// The clause limit that every query returns to.
constexpr std::size_t kRestingClauseLimit = 1024;
/// The clause limit a query may raise it to: a prefix or range that matches
/// more words than this would take more memory and time than any answer is
/// worth.
constexpr std::size_t kHighestClauseLimit = 64 * 1024;

/// The longest query text the parser is given. CLucene's parser reads its
/// input through a buffer of this many characters and misplaces what it reads
/// after the first refill: a longer text is misread, and may crash it.
constexpr std::size_t kLongestQueryText = 2048;

/// Tidies the index root (none when it is empty), then opens or creates the
/// index.
IndexWriterPtr createIndexWriter(const std::wstring& indexRoot, const std::wstring& indexDirectory);
IndexSearcherPtr createIndexSearcher(const std::wstring& indexDirectory);

/// Removes the subdirectories of the root that hold an index other than
/// indexDirectory: the indexes of other format versions. Nothing else in the
/// root is touched.
void tidyIndexDirectory(const std::wstring& indexRoot, const std::wstring& indexDirectory);
/// Deletes the plain files directly inside the directory.
void clearDirectory(const std::wstring& directory);
/// Removes the index's own files from its directory, and nothing else, so
/// that a new index can be made there. Throws CIndexException when a writer
/// is open on it.
void discardIndex(const std::wstring& indexDirectory);

/// Text as the index keeps it: CLucene holds 16-bit units, so characters
/// past U+FFFF go in as UTF-16 pairs; fromStoredText joins them again.
std::wstring toStoredText(const std::wstring& text);
/// How many 16-bit units the text takes as the index keeps it.
std::size_t storedLength(std::wstring_view text);
/// Writes the text as the index keeps it into `out`, which has room for its
/// `length` (storedLength) units; writes no NUL.
void writeStoredText(std::wstring_view text, std::size_t length, wchar_t* out);
std::wstring fromStoredText(const wchar_t* stored);

/// A CLucene error's text.
std::wstring describe(CLuceneError& error);
/// The CLucene error as the program's own exception.
CExceptionBase toException(CLuceneError& error);

namespace Analyzer {
/// The word analyzer's searching side, for parsing queries (documents are
/// analysed as their fields are added).
AnalyzerPtr create();
} // namespace Analyzer

namespace Writer {

IndexWriterPtr create(const std::wstring& indexDirectory);

void add(Document& document, const std::wstring& name, const std::wstring& value,
         FieldIndex index = FieldIndex::Tokenized);
void add(Document& document, const std::wstring& name, std::int32_t value,
         FieldIndex index = FieldIndex::Tokenized);
void add(Document& document, const std::wstring& name, const DateTime& value,
         FieldIndex index = FieldIndex::Tokenized);
void add(Document& document, const std::wstring& name, const OleDate& value,
         FieldIndex index = FieldIndex::Tokenized);
/// Adds the document; throws CIndexException when the index's file system
/// has less than kMinimumFreeBytes left.
void add(lucene::index::IndexWriter& writer, Document& document);

/// CLucene cannot survive a write that fails for want of space (its files
/// throw again while closing), so writing stops well before: room for two of
/// its 16 MB buffers, one flushed and one copied into a compound file.
constexpr std::uint64_t kMinimumFreeBytes = 32ull << 20;
/// Throws CIndexException when the writer's file system is short of space.
void ensureRoomFor(lucene::index::IndexWriter& writer);

/// The text a date takes in the index (also what range queries compare
/// with). Dates are written held within the years 1000 to 9999.
std::wstring dateToString(const DateTime& value);

} // namespace Writer

namespace Searcher {

IndexSearcherPtr create(const std::wstring& indexDirectory);

/// The getHits functions parse the text and run the query once, collecting
/// every hit; the clause limit is raised (up to kHighestClauseLimit) for as
/// long as the query runs. A parse error propagates as CLucene's error; too
/// many matching words raise CTooManyWordsError. A text longer than
/// kLongestQueryText raises a CIndexException of the query fault.

HitsPtr getHits(lucene::search::IndexSearcher& searcher, const std::wstring& query);
HitsPtr getHits(lucene::search::IndexSearcher& searcher, const std::wstring& field,
                const std::wstring& value);
HitsPtr getHits(lucene::search::IndexSearcher& searcher, lucene::analysis::Analyzer& analyzer,
                const std::wstring& defaultField, const std::wstring& query);
HitsPtr getHits(lucene::search::IndexSearcher& searcher, lucene::analysis::Analyzer& analyzer,
                const std::wstring& defaultField, const std::wstring& field,
                const std::wstring& value);

/// The phrase query text: field:"value" with the value escaped.
std::wstring buildPhraseQuery(const std::wstring& field, const std::wstring& value);

/// The stored value as CLucene holds it (characters past U+FFFF as UTF-16
/// pairs), or null when the field is missing; getAsString decodes it.
const wchar_t* get(Document& document, const std::wstring& name);
std::wstring getAsString(Document& document, const std::wstring& name);
/// Throws std::invalid_argument for a missing or non-numeric value.
std::int32_t getAsInt32(Document& document, const std::wstring& name);
/// Throws std::invalid_argument for a missing or malformed value.
DateTime getAsDateTime(Document& document, const std::wstring& name);

bool isIndexDirty(lucene::index::IndexReader* reader);
bool isIndexDirty(const IndexSearcherPtr& searcher);

} // namespace Searcher
} // namespace Kerf::Search
