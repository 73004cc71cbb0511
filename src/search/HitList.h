#pragma once
// The hits of one query, collected in a single pass over the index: every
// matching document number with its score, in relevance order (best first,
// ties in document order). Unlike CLucene's own hit list, which runs the
// query again whenever more than the hits it fetched first are wanted, this
// list never goes back to the query, so a query that needed a raised clause
// limit can be read to its end after the limit has returned to rest.

#include <CLucene.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

namespace Kerf::Search {

class CHitList {
public:
    /// Runs the query once through the searcher and keeps what it matched.
    /// The searcher must outlive the list: documents are read from it.
    CHitList(lucene::search::IndexSearcher& searcher, lucene::search::Query& query);
    CHitList(const CHitList&) = delete;
    CHitList& operator=(const CHitList&) = delete;

    std::size_t length() const { return m_hits.size(); }
    std::int32_t id(std::size_t i) const { return m_hits.at(i).document; }
    float score(std::size_t i) const { return m_hits.at(i).score; }
    /// The stored fields of the i-th hit, read once and kept with the list.
    lucene::document::Document& doc(std::size_t i);

private:
    struct Hit {
        std::int32_t document;
        float score;
    };
    lucene::search::IndexSearcher& m_searcher;
    std::vector<Hit> m_hits;
    std::unordered_map<std::int32_t, std::unique_ptr<lucene::document::Document>> m_documents;
};

} // namespace Kerf::Search
