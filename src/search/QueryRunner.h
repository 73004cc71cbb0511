#pragma once
// Runs one search over a list of directories against an open index searcher
// and reports every step through hooks. A hit is new when its location was
// not reported before (in this run or an earlier one sharing the sets) and
// its file name passes the name filter. The base query only restricts hits
// to the directory (and hits whose path does not lie below it are passed
// over); subclasses add their criteria in buildQuery and turn new hits into
// results in the hit hooks.
//
// The hooks come in overload pairs (beginProcessingSearch() and
// beginProcessingSearch(directory), ...); a subclass that overrides one of a
// pair brings the other into scope with a using-declaration.

#include "search/IndexStorage.h"
#include "search/WordAnalyzer.h"
#include "support/Strings.h"

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace Kerf::Search::Searcher {

class CQueryRunner {
public:
    /// Paths compare exactly, as the file system compares them.
    using PathSet = std::set<std::wstring>;
    using Directories = std::vector<std::wstring>;

    /// The sets and the directory list belong to the caller and must outlive
    /// the runner; the sets are shared across runs so that a file is reported
    /// once. The analyzer parses the queries (a new one is made when null).
    CQueryRunner(IndexSearcherPtr searcher, AnalyzerPtr analyzer, PathSet* foundLocations,
                 PathSet* foundDirectories, const Directories* directories,
                 const std::wstring& filenameFilter);
    virtual ~CQueryRunner() = default;
    CQueryRunner(const CQueryRunner&) = delete;
    CQueryRunner& operator=(const CQueryRunner&) = delete;

    /// Searches one directory.
    virtual void go(const std::wstring& directory);
    /// Searches every directory of the list, in order. Throws CIndexException
    /// when the query cannot be parsed or the index cannot be read.
    virtual void go();
    /// The query text for one directory: a phrase query on "Location".
    virtual std::wstring buildQuery(const std::wstring& directory);
    /// True when the lower-cased file name (not its directories) contains
    /// the filter, or the filter is empty.
    virtual bool isFilenameAcceptable(const std::wstring& path);

    /// field:"value" with the value escaped.
    static std::wstring buildMatch(const std::wstring& field, const std::wstring& value);
    /// For every typed word of the text (see splitTypedWords) a required
    /// match in the field, each as the start of a word: " AND field:word*"
    /// for a word of one term, " AND (field:e AND field:mail*)" for one that
    /// punctuation splits; a quoted phrase, or a Chinese or Japanese word,
    /// matches its terms in a row: " AND field:\"sujet bien\"". Empty for no
    /// words. The leading " AND " lets callers append it to a query begun.
    static std::wstring buildMatches(const std::wstring& field, const std::wstring& text);
    /// One typed word's match in the field; as the start of a word when
    /// prefix is set and the word was not quoted. Empty for a word of no terms.
    static std::wstring buildWordMatch(const std::wstring& field, const TypedWords& word,
                                       bool prefix);

    /// The lower-cased name filter; empty when there is none.
    const std::wstring& getFilenameFilter() const { return m_sFilenameFilter; }
    std::size_t getFoundLocationsCount() const { return m_pFoundLocations->size(); }
    std::size_t getFoundDirectoriesCount() const { return m_pFoundDirectories->size(); }

protected:
    virtual void beginProcessingSearch(const std::wstring& /*directory*/) {}
    virtual void beginProcessingSearch() {}
    virtual void endProcessingSearch(const std::wstring& /*directory*/) {}
    virtual void endProcessingSearch() {}
    virtual void beginProcessingQuery() {}
    virtual void endProcessingQuery() {}
    virtual void beginProcessingResults(CHitList& /*hits*/) {}
    virtual void endProcessingResults(CHitList& /*hits*/) {}
    /// Every hit, new or not.
    virtual void beginProcessingHit(const std::wstring& /*location*/) {}
    virtual void endProcessingHit(const std::wstring& /*location*/) {}
    /// Reads the stored fields that a new hit hands to the hooks below;
    /// all of them unless a subclass needs fewer.
    virtual void loadDocument(lucene::index::IndexReader& reader, std::int32_t number,
                              Document& document);
    /// New hits only, with the fields loadDocument read.
    virtual void beginProcessingNewHit(Document& /*document*/) {}
    virtual void endProcessingNewHit(Document& /*document*/) {}

    IndexSearcherPtr m_pSearcher;
    AnalyzerPtr m_pAnalyzer;

private:
    PathSet m_ownLocations;
    PathSet m_ownDirectories;
    PathSet* m_pFoundLocations;
    PathSet* m_pFoundDirectories;
    const Directories* m_pDirectories;
    std::wstring m_sFilenameFilter;
};

} // namespace Kerf::Search::Searcher
