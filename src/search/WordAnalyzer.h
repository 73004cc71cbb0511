#pragma once
// How a text becomes the terms it is found by: one analysis for every field
// that is indexed and for every word that is typed, so that both sides agree.
//   - Words are runs of letters, digits and combining marks. Case is folded
//     fully (ß meets ss, a final sigma meets σ, İ and ı meet i), and the
//     accents of Latin, Greek and Cyrillic letters are taken off (é, ł, ø,
//     đ, æ and œ meet e, l, o, d, ae and oe; ё meets е).
//   - Words joined by "." or "@" (e-mail addresses, host names, dotted
//     numbers) are kept whole besides their parts: "john.smith@firm.co.uk"
//     holds the terms john, smith, firm, co and uk at successive positions,
//     and also john.smith@firm.co.uk, john.smith, firm.co.uk and co.uk, each
//     at the position of its first part. Typed, such a word is looked for
//     whole, and the words after it in a phrase keep their distance.
//   - Chinese, Japanese and Korean runs become overlapping pairs of
//     characters ("東京都" holds 東京 and 京都); a lone character is a term.
//   - Nothing is stemmed and no word is dropped.

#include <CLucene/StdHeader.h>
#include <CLucene/analysis/AnalysisHeader.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Kerf::Search {

/// What the terms are for: indexing keeps whole-and-parts of joined words;
/// searching asks for the whole alone.
enum class WordUse { Indexing, Searching };

struct AnalyzedTerm {
    std::wstring text;     // the folded term
    std::int32_t position; // word position from 0; the whole of an address shares its first part's
    std::size_t start;     // the word's first character in the text
    std::size_t end;       // one past its last character

    friend bool operator==(const AnalyzedTerm&, const AnalyzedTerm&) = default;
};

/// The terms of a text, in order of position.
std::vector<AnalyzedTerm> analyzeWords(std::wstring_view text, WordUse use = WordUse::Indexing);

/// The terms of a text held compactly, one buffer for all of them: what a
/// document's field hands the index writer, analysed before the writer's
/// thread sees it.
class CAnalyzedText {
public:
    struct Entry {
        std::uint32_t offset; // into chars()
        std::uint32_t length;
        std::int32_t position;
        std::uint32_t start;
        std::uint32_t end;
    };

    explicit CAnalyzedText(std::wstring_view text, WordUse use = WordUse::Indexing);

    std::size_t size() const { return m_entries.size(); }
    /// Whether some term holds a character past U+FFFF.
    bool beyondBasicPlane() const { return m_bBeyondBasicPlane; }
    const Entry& entry(std::size_t i) const { return m_entries[i]; }
    std::wstring_view term(std::size_t i) const {
        return std::wstring_view(m_chars).substr(m_entries[i].offset, m_entries[i].length);
    }

private:
    friend class CTermCollector;
    std::wstring m_chars;
    std::vector<Entry> m_entries;
    bool m_bBeyondBasicPlane = false;
};

/// What the user typed into one search field, split at spaces outside double
/// quotes: each typed word or quoted phrase with its terms. A quote without
/// its partner is passed over.
struct TypedWords {
    std::wstring typed;              // the word or phrase as typed, without quotes
    std::vector<AnalyzedTerm> terms; // searching terms, positions from 0
    bool quoted = false;
};
std::vector<TypedWords> splitTypedWords(std::wstring_view typed);

/// True when the term is a pair (or a lone one) of Chinese, Japanese or
/// Korean characters: such words are typed whole, not letter by letter.
bool isIdeographicTerm(std::wstring_view term);

/// The folded form of a typed word with wildcards ("Bestät*"), the wildcard
/// characters kept: what a prefix or wildcard term of a raw query looks for.
std::wstring foldWildcardWord(std::wstring_view word);

/// CLucene's side: a token stream over analysed terms (characters past
/// U+FFFF as UTF-16 pairs, as the index holds text).
class CAnalyzedTokenStream : public lucene::analysis::TokenStream {
public:
    explicit CAnalyzedTokenStream(std::shared_ptr<const CAnalyzedText> terms);
    lucene::analysis::Token* next(lucene::analysis::Token* token) override;
    void close() override {}
    void reset() override { m_iNext = 0; }

private:
    std::shared_ptr<const CAnalyzedText> m_pTerms;
    std::size_t m_iNext = 0;
    std::int32_t m_iLastPosition = -1;
};

/// The analyzer the index writer and the query parser use, for every field.
class CWordAnalyzer : public lucene::analysis::Analyzer {
public:
    explicit CWordAnalyzer(WordUse use = WordUse::Indexing) : m_use(use) {}
    lucene::analysis::TokenStream* tokenStream(const TCHAR* fieldName,
                                               lucene::util::Reader* reader) override;
    /// Between two texts of one field (a name and the addresses beside it):
    /// far enough that no phrase spans them.
    int32_t getPositionIncrementGap(const TCHAR* /*fieldName*/) override { return 100; }

private:
    WordUse m_use;
};

} // namespace Kerf::Search
