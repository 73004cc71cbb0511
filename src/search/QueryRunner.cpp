#include "search/QueryRunner.h"

#include "search/IndexLocations.h"
#include "search/WordAnalyzer.h"
#include "support/Assert.h"
#include "support/Exception.h"
#include "support/Trace.h"

#include <cerrno>
#include <cstdlib>

namespace Kerf::Search::Searcher {

namespace {

std::wstring escape(const std::wstring& text) {
    wchar_t* escaped = lucene::queryParser::QueryParser::escape(text.c_str());
    std::wstring result(escaped);
    free(escaped);
    return result;
}

std::wstring joined(const std::vector<AnalyzedTerm>& terms, std::size_t count) {
    std::wstring text;
    for (std::size_t i = 0; i < count; ++i)
        text += (i > 0 ? L" " : L"") + terms[i].text;
    return text;
}

std::wstring fileNameOf(const std::wstring& path) {
    const auto slash = path.rfind(L'/');
    return slash == std::wstring::npos ? path : path.substr(slash + 1);
}

std::wstring directoryOf(const std::wstring& path) {
    const auto slash = path.rfind(L'/');
    if (slash == std::wstring::npos)
        return std::wstring();
    return slash == 0 ? std::wstring(L"/") : path.substr(0, slash);
}

// The phrase query on "Location" matches the folder's words wherever they
// stand in a path: "/srv/Mail" also matches "/srv/Mail Archive/..." and
// "/home/srv/mail/...". Only files below the folder itself, named exactly as
// the folder is named, are its hits.
bool isInside(const std::wstring& location, const std::wstring& folderWithSlash) {
    return location.size() > folderWithSlash.size() &&
           location.compare(0, folderWithSlash.size(), folderWithSlash) == 0;
}

} // namespace

CQueryRunner::CQueryRunner(IndexSearcherPtr searcher, AnalyzerPtr analyzer, PathSet* foundLocations,
                           PathSet* foundDirectories, const Directories* directories,
                           const std::wstring& filenameFilter)
    : m_pSearcher(std::move(searcher)), m_pAnalyzer(std::move(analyzer)),
      m_pFoundLocations(foundLocations != nullptr ? foundLocations : &m_ownLocations),
      m_pFoundDirectories(foundDirectories != nullptr ? foundDirectories : &m_ownDirectories),
      m_pDirectories(directories), m_sFilenameFilter(Util::toLower(filenameFilter)) {
    KERF_TRACE_ENTRY("Kerf::Search::Searcher::CQueryRunner::CQueryRunner");
    KERF_ASSERT(foundLocations != nullptr);
    KERF_ASSERT(foundDirectories != nullptr);
}

void CQueryRunner::go() {
    KERF_TRACE_ENTRY("Kerf::Search::Searcher::CQueryRunner::go");
    beginProcessingSearch();
    // CLucene's own errors end here: callers see the program's exception.
    try {
        if (m_pDirectories != nullptr)
            for (const auto& directory : *m_pDirectories)
                go(directory);
    } catch (CLuceneError& e) {
        throw toIndexException(L"", e, errno);
    }
    endProcessingSearch();
}

void CQueryRunner::go(const std::wstring& directory) {
    if (Trace::isOn())
        Trace::tracef("Kerf::Search::Searcher::CQueryRunner::go(%s)\n",
                      Util::toNarrow(directory).c_str());
    if (!m_pSearcher)
        throw CExceptionBase(L"No index searcher is open.");
    if (!m_pAnalyzer)
        m_pAnalyzer = Analyzer::create();

    beginProcessingSearch(directory);
    const std::wstring query = buildQuery(directory);
    beginProcessingQuery();
    HitsPtr hits = getHits(*m_pSearcher, *m_pAnalyzer, L"Body", query);
    endProcessingQuery();

    beginProcessingResults(*hits);
    lucene::index::IndexReader& reader = *m_pSearcher->getReader();
    const std::wstring folderWithSlash = TrailDirectorySlash(directory);
    const auto count = static_cast<std::int32_t>(hits->length());
    for (std::int32_t i = 0; i < count; ++i) {
        // Only the location is read for every hit; the whole document (with
        // its body) only for the new ones.
        const std::int32_t number = hits->id(i);
        const std::wstring location = readLocation(reader, number);
        if (!isInside(location, folderWithSlash))
            continue;
        beginProcessingHit(location);
        if (m_pFoundLocations->count(location) == 0 && isFilenameAcceptable(location)) {
            Document document;
            loadDocument(reader, number, document);
            beginProcessingNewHit(document);
            m_pFoundLocations->insert(location);
            m_pFoundDirectories->insert(directoryOf(location));
            endProcessingNewHit(document);
        }
        endProcessingHit(location);
    }
    endProcessingResults(*hits);
    endProcessingSearch(directory);
}

void CQueryRunner::loadDocument(lucene::index::IndexReader& reader, std::int32_t number,
                                Document& document) {
    reader.document(number, document);
}

std::wstring CQueryRunner::buildQuery(const std::wstring& directory) {
    return buildMatch(kLocationField, directory);
}

bool CQueryRunner::isFilenameAcceptable(const std::wstring& path) {
    if (m_sFilenameFilter.empty())
        return true;
    return Util::toLower(fileNameOf(path)).find(m_sFilenameFilter) != std::wstring::npos;
}

std::wstring CQueryRunner::buildMatch(const std::wstring& field, const std::wstring& value) {
    return field + L":\"" + escape(value) + L"\"";
}

std::wstring CQueryRunner::buildWordMatch(const std::wstring& field, const TypedWords& word,
                                          bool prefix) {
    const std::vector<AnalyzedTerm>& terms = word.terms;
    if (terms.empty())
        return {};
    const std::wstring name = field + L":";
    if (terms.size() == 1)
        return name + escape(terms[0].text) + (prefix && !word.quoted ? L"*" : L"");
    // Joined again with spaces the terms analyse as they did, each at its
    // distance, so the parser makes the same phrase of them.
    if (!prefix || word.quoted || isIdeographicTerm(terms.back().text))
        return name + L"\"" + escape(joined(terms, terms.size())) + L"\"";
    // A word split by punctuation ("e-ma", "2008-01") may not be typed to its
    // end yet: its last part is a prefix.
    const std::wstring head = terms.size() == 2
                                  ? escape(terms[0].text)
                                  : L"\"" + escape(joined(terms, terms.size() - 1)) + L"\"";
    return L"(" + name + head + L" AND " + name + escape(terms.back().text) + L"*)";
}

std::wstring CQueryRunner::buildMatches(const std::wstring& field, const std::wstring& text) {
    std::wstring result;
    // Every typed word must match, as the start of a word; a quoted phrase
    // must match whole, its words in a row.
    for (const TypedWords& word : splitTypedWords(text))
        result += L" AND " + buildWordMatch(field, word, true);
    return result;
}

} // namespace Kerf::Search::Searcher
