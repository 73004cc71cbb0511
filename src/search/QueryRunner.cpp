#include "search/QueryRunner.h"

#include "search/IndexLocations.h"
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

/// The terms the analyzer makes of one typed word for the field, in order.
std::vector<std::wstring> piecesOf(lucene::analysis::Analyzer& analyzer, const std::wstring& field,
                                   const std::wstring& word) {
    std::vector<std::wstring> pieces;
    lucene::util::StringReader reader(word.c_str(), static_cast<int32_t>(word.size()));
    std::unique_ptr<lucene::analysis::TokenStream> stream(
        analyzer.tokenStream(field.c_str(), &reader));
    lucene::analysis::Token token;
    while (stream->next(&token) != nullptr)
        pieces.emplace_back(token.termBuffer(), token.termLength());
    stream->close();
    return pieces;
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

std::wstring CQueryRunner::buildMatches(const std::wstring& field, const std::wstring& text) {
    AnalyzerPtr analyzer = Analyzer::create();
    return buildMatches(*analyzer, field, text);
}

std::wstring CQueryRunner::buildMatches(lucene::analysis::Analyzer& analyzer,
                                        const std::wstring& field, const std::wstring& text) {
    std::wstring result;
    // Each word is split as the field's text was split when it was indexed:
    // "Lowe," holds the term "lowe", "M.I." the term "mi", "--" none at all.
    // Every piece must match, the last as the start of a term, since the
    // user may not have typed the whole word yet.
    for (const auto& word : Util::splitTokens(text, L" ")) {
        const std::vector<std::wstring> pieces = piecesOf(analyzer, field, word);
        if (pieces.empty())
            continue;
        std::wstring clause;
        for (std::size_t i = 0; i < pieces.size(); ++i) {
            if (i > 0)
                clause += L" AND ";
            clause += field + L":" + escape(pieces[i]);
        }
        clause += L"*";
        result += L" AND " + (pieces.size() == 1 ? clause : L"(" + clause + L")");
    }
    return result;
}

} // namespace Kerf::Search::Searcher
