#include "search/HitList.h"

#include <algorithm>

namespace Kerf::Search {

namespace {

template <typename Hit> class Collector : public lucene::search::HitCollector {
public:
    explicit Collector(std::vector<Hit>& hits) : m_hits(hits) {}
    void collect(const int32_t doc, const float_t score) override {
        // As CLucene's own hit list: a document that scores nothing is no hit.
        if (score > 0.0f)
            m_hits.push_back({doc, score});
    }

private:
    std::vector<Hit>& m_hits;
};

} // namespace

CHitList::CHitList(lucene::search::IndexSearcher& searcher, lucene::search::Query& query)
    : m_searcher(searcher) {
    Collector<Hit> collector(m_hits);
    searcher._search(&query, nullptr, &collector);
    std::sort(m_hits.begin(), m_hits.end(), [](const Hit& a, const Hit& b) {
        return a.score != b.score ? a.score > b.score : a.document < b.document;
    });
}

lucene::document::Document& CHitList::doc(std::size_t i) {
    const std::int32_t number = id(i);
    auto& slot = m_documents[number];
    if (!slot) {
        slot = std::make_unique<lucene::document::Document>();
        m_searcher.doc(number, slot.get());
    }
    return *slot;
}

} // namespace Kerf::Search
