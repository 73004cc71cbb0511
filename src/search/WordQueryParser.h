#pragma once
// CLucene's query parser as the index needs it: the searching side of the
// word analyzer splits the words, the words after an address in a phrase
// keep their distance, and the words a prefix or wildcard stands for are
// folded as indexed words are (the parser would only lower-case them).

#include "search/WordAnalyzer.h"

#include <CLucene.h>

#include <string>

namespace Kerf::Search {

class CWordQueryParser : public lucene::queryParser::QueryParser {
public:
    CWordQueryParser(const wchar_t* defaultField, lucene::analysis::Analyzer* analyzer);

    /// Parses the query text as the index keeps text (characters past
    /// U+FFFF as UTF-16 pairs): the parser's lexer refuses such a character
    /// outright, and the pairs reach the words' analysis whole again.
    lucene::search::Query* parseText(const std::wstring& text);

protected:
    lucene::search::Query* getPrefixQuery(const TCHAR* field, TCHAR* termStr) override;
    lucene::search::Query* getWildcardQuery(const TCHAR* field, TCHAR* termStr) override;
};

} // namespace Kerf::Search
