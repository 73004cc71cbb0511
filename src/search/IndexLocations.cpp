#include "search/IndexLocations.h"

#include "search/WordQueryParser.h"
#include "support/Strings.h"

#include <CLucene/search/MatchAllDocsQuery.h>

#include <algorithm>
#include <cwchar>
#include <memory>
#include <vector>

using lucene::index::IndexReader;
using lucene::index::Term;
using lucene::index::TermDocs;
using lucene::index::TermEnum;
using lucene::search::BooleanQuery;
using lucene::search::HitCollector;
using lucene::search::IndexSearcher;
using lucene::search::MatchAllDocsQuery;
using lucene::search::Query;

namespace Kerf::Search {

namespace {

class DocumentNumbers : public HitCollector {
public:
    void collect(const int32_t doc, const float_t /*score*/) override { numbers.push_back(doc); }
    std::vector<std::int32_t> numbers;
};

std::unique_ptr<Query> parseBelowQuery(const std::wstring& directory) {
    AnalyzerPtr analyzer = Analyzer::create();
    CWordQueryParser parser(L"Body", analyzer.get());
    std::unique_ptr<Query> query(
        parser.parseText(Searcher::buildPhraseQuery(kLocationField, directory)));
    const auto* boolean = dynamic_cast<const BooleanQuery*>(query.get());
    if (!query || (boolean != nullptr && boolean->getClauseCount() == 0))
        return std::make_unique<MatchAllDocsQuery>();
    return query;
}

} // namespace

std::wstring readLocation(IndexReader& reader, std::int32_t documentNumber) {
    Document document;
    reader.document(documentNumber, document, &locationOnly());
    return Searcher::getAsString(document, kLocationField);
}

void forEachLocationBelow(IndexSearcher& searcher, const std::wstring& directory,
                          const std::function<void(const std::wstring&)>& visit) {
    std::unique_ptr<Query> query = parseBelowQuery(directory);
    DocumentNumbers hits;
    searcher._search(query.get(), nullptr, &hits);
    // In document order the stored fields are read front to back.
    std::sort(hits.numbers.begin(), hits.numbers.end());
    IndexReader* reader = searcher.getReader();
    for (const std::int32_t number : hits.numbers)
        visit(readLocation(*reader, number));
}

void forEachFileBelow(IndexReader& reader, const std::wstring& directory,
                      const std::function<bool(std::wstring_view, const FileState&)>& visit) {
    const std::wstring prefix = toStoredText(Kerf::TrailDirectorySlash(directory));
    const Term first(Fields::kFileState, prefix.c_str());
    std::unique_ptr<TermEnum> terms(reader.terms(&first));
    // A deleted document keeps its term until its segment is merged: a file
    // replaced in an earlier run has its old state there beside the new one.
    std::unique_ptr<TermDocs> documents(reader.hasDeletions() ? reader.termDocs() : nullptr);
    std::wstring_view path;
    FileState state;
    do {
        const Term* term = terms->term(false);
        if (term == nullptr || std::wcscmp(term->field(), Fields::kFileState) != 0 ||
            std::wcsncmp(term->text(), prefix.c_str(), prefix.size()) != 0)
            break;
        if (documents) {
            documents->seek(terms.get());
            if (!documents->next())
                continue;
        }
        // Nearly every path is plain text; only one with characters past
        // U+FFFF needs its stored pairs joined.
        const std::wstring_view stored(term->text());
        const bool plain = std::none_of(stored.begin(), stored.end(),
                                        [](wchar_t c) { return c >= 0xD800 && c <= 0xDBFF; });
        const std::wstring joined = plain ? std::wstring() : fromStoredText(term->text());
        if (parseFileStateText(plain ? stored : std::wstring_view(joined), path, state) &&
            !visit(path, state))
            break;
    } while (terms->next());
    terms->close();
    if (documents)
        documents->close();
}

std::vector<std::int32_t> documentsWithoutFileState(IndexReader& reader) {
    std::vector<bool> stated(static_cast<std::size_t>(reader.maxDoc()), false);
    const Term first(Fields::kFileState, L"");
    std::unique_ptr<TermEnum> terms(reader.terms(&first));
    std::unique_ptr<TermDocs> documents(reader.termDocs());
    do {
        const Term* term = terms->term(false);
        if (term == nullptr || std::wcscmp(term->field(), Fields::kFileState) != 0)
            break;
        documents->seek(terms.get());
        while (documents->next())
            stated[static_cast<std::size_t>(documents->doc())] = true;
    } while (terms->next());
    terms->close();
    documents->close();
    std::vector<std::int32_t> result;
    for (std::int32_t n = 0; n < reader.maxDoc(); ++n)
        if (!stated[static_cast<std::size_t>(n)] && !reader.isDeleted(n))
            result.push_back(n);
    return result;
}

} // namespace Kerf::Search
