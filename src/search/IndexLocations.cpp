#include "search/IndexLocations.h"

#include <CLucene/search/MatchAllDocsQuery.h>

#include <algorithm>
#include <memory>
#include <vector>

using lucene::index::IndexReader;
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
    lucene::queryParser::QueryParser parser(L"Body", analyzer.get());
    std::unique_ptr<Query> query(
        parser.parse(Searcher::buildPhraseQuery(kLocationField, directory).c_str()));
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

} // namespace Kerf::Search
