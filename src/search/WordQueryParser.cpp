#include "search/WordQueryParser.h"

#include "search/IndexStorage.h"

using lucene::index::Term;
using lucene::search::PrefixQuery;
using lucene::search::Query;
using lucene::search::WildcardQuery;

namespace Kerf::Search {

namespace {

// Terms are shared by counting references: the query holds its own.
template <typename QueryType> Query* withTerm(const TCHAR* field, const TCHAR* word) {
    Term* term = _CLNEW Term(field, toStoredText(foldWildcardWord(word)).c_str());
    Query* query = _CLNEW QueryType(term);
    _CLDECDELETE(term);
    return query;
}

} // namespace

CWordQueryParser::CWordQueryParser(const wchar_t* defaultField,
                                   lucene::analysis::Analyzer* analyzer)
    : QueryParser(defaultField, analyzer) {
    setEnablePositionIncrements(true);
}

Query* CWordQueryParser::parseText(const std::wstring& text) {
    return parse(toStoredText(text).c_str());
}

Query* CWordQueryParser::getPrefixQuery(const TCHAR* field, TCHAR* termStr) {
    // The parser's own refusal of a leading wildcard stands.
    if (termStr[0] == L'*')
        return QueryParser::getPrefixQuery(field, termStr);
    return withTerm<PrefixQuery>(field, termStr);
}

Query* CWordQueryParser::getWildcardQuery(const TCHAR* field, TCHAR* termStr) {
    if (termStr[0] == L'*' || termStr[0] == L'?')
        return QueryParser::getWildcardQuery(field, termStr);
    return withTerm<WildcardQuery>(field, termStr);
}

} // namespace Kerf::Search
