#pragma once
// The query runner for mail: builds the query text from the user's criteria,
// turns every new hit back into an e-mail record and hands it to the results.

#include "mail/EmailMetadata.h"
#include "mail/SearchCriteria.h"
#include "search/QueryRunner.h"

#include <cstddef>
#include <string>

namespace Kerf::QuireLib {

/// What the query runner feeds: the search cycle, which passes rows on to
/// the results list of its front end.
class IMailResultsSink {
public:
    virtual ~IMailResultsSink() = default;
    virtual void updateStatus(const std::wstring& text) = 0;
    virtual void beginWaitCursor() {}
    virtual void endWaitCursor() {}
    virtual void startOptimisedAdd(std::size_t expectedRows) = 0;
    virtual void InsertItem(const CEmailMetadata& record) = 0;
    virtual void finishOptimisedAdd() = 0;
    virtual std::size_t getItemCount() const = 0;
    virtual void updateSearchStatus(std::size_t matches, std::size_t messages,
                                    std::size_t directories, bool force) = 0;
};

class CMailQueryRunner : public Search::Searcher::CQueryRunner {
public:
    CMailQueryRunner(Search::IndexSearcherPtr searcher, const SearchCriteria& criteria,
                     IMailResultsSink& results, PathSet* foundLocations, PathSet* foundDirectories,
                     const Directories* directories);

    std::wstring buildQuery(const std::wstring& directory) override;
    /// The record that a hit's stored fields describe. Without the body
    /// (see setLoadBody) the record has no "Body" key.
    static CEmailMetadata getDocument(Search::Document& document, bool withBody = true);

    /// Whether result rows carry the message body. Off by default: the list
    /// never shows it and the preview reads it from the index when needed,
    /// while loading every body would cost most of the time of a large result.
    void setLoadBody(bool load) { m_bLoadBody = load; }

    /// Lower and upper ends of an open date range.
    static const DateTime kSmallestDate;
    static const DateTime kLargestDate;

protected:
    using CQueryRunner::beginProcessingSearch;
    using CQueryRunner::endProcessingSearch;
    void loadDocument(lucene::index::IndexReader& reader, std::int32_t number,
                      Search::Document& document) override;
    void beginProcessingSearch() override;
    void beginProcessingResults(Search::CHitList& hits) override;
    void beginProcessingNewHit(Search::Document& document) override;
    void endProcessingNewHit(Search::Document& document) override;
    void endProcessingSearch() override;

private:
    const SearchCriteria& m_criteria;
    IMailResultsSink& m_results;
    bool m_bBulkAdding = false;
    bool m_bLoadBody = false;
};

} // namespace Kerf::QuireLib
