#include "search/WordAnalyzer.h"

#include "search/CharacterFolding.h"

#include <CLucene/util/CLStreams.h>

#include <algorithm>
#include <cwchar>
#include <cwctype>

namespace Kerf::Search {

using Folding::CharInfo;
using Folding::CharKind;

namespace {

/// Longer words are cut: no one types them, and CLucene's buffers expect
/// terms of a few hundred characters at most.
constexpr std::size_t kLongestTerm = 255;
/// Joined words of more parts, or longer, keep their parts only: a run of
/// dotted labels would otherwise give a term for every one of its tails.
constexpr std::size_t kMostJoinedParts = 16;
constexpr std::size_t kLongestJoinedWord = 255;

bool isJoiner(wchar_t c) {
    return c == L'.' || c == L'@' || c == L'-' || c == L'_' || c == L'\'' || c == 0x2019;
}

/// Only "." and "@" make a word that is kept whole as well.
bool isWholeJoiner(wchar_t c) {
    return c == L'.' || c == L'@';
}

/// The code point at i (a UTF-16 pair joined), and its length in units.
char32_t codePointAt(std::wstring_view text, std::size_t i, std::size_t& length) {
    const auto c = static_cast<char32_t>(text[i]);
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size()) {
        const auto low = static_cast<char32_t>(text[i + 1]);
        if (low >= 0xDC00 && low <= 0xDFFF) {
            length = 2;
            return 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
        }
    }
    length = 1;
    return c;
}

} // namespace

/// Gathers the terms of one text into a CAnalyzedText.
class CTermCollector {
public:
    CTermCollector(CAnalyzedText& out, WordUse use) : m_out(out), m_use(use) {}

    void analyze(std::wstring_view text);

private:
    struct Part {
        std::size_t offset; // in m_word
        std::size_t length;
        std::size_t start; // in the text
        std::size_t end;
    };

    void scanJoinedWord(std::wstring_view text, std::size_t& i);
    void scanIdeographs(std::wstring_view text, std::size_t& i);
    void emitJoinedWord();
    void add(std::wstring_view term, std::int32_t position, std::size_t start, std::size_t end);
    std::wstring_view partsText(std::size_t first, std::size_t last) const;

    CAnalyzedText& m_out;
    WordUse m_use;
    std::int32_t m_iPosition = 0;
    std::wstring m_word; // the folded parts of a joined word with their joiners
    std::vector<Part> m_parts;
    std::vector<wchar_t> m_joiners; // m_joiners[k] stands between part k and k + 1
    std::wstring m_pair;
};

void CTermCollector::analyze(std::wstring_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        std::size_t length = 1;
        const CharInfo info = Folding::infoOf(codePointAt(text, i, length));
        if (info.kind == CharKind::Ideograph)
            scanIdeographs(text, i);
        else if (info.kind == CharKind::Letter)
            scanJoinedWord(text, i);
        else
            i += length;
    }
}

void CTermCollector::add(std::wstring_view term, std::int32_t position, std::size_t start,
                         std::size_t end) {
    if (term.empty())
        return;
    term = term.substr(0, kLongestTerm);
    m_out.m_entries.push_back({static_cast<std::uint32_t>(m_out.m_chars.size()),
                               static_cast<std::uint32_t>(term.size()), position,
                               static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(end)});
    m_out.m_chars.append(term);
}

void CTermCollector::scanJoinedWord(std::wstring_view text, std::size_t& i) {
    m_word.clear();
    m_parts.clear();
    m_joiners.clear();
    for (;;) {
        const std::size_t start = i;
        const std::size_t offset = m_word.size();
        bool stripMarks = false;
        while (i < text.size()) {
            std::size_t length = 1;
            const CharInfo info = Folding::infoOf(codePointAt(text, i, length));
            if (info.kind == CharKind::Letter) {
                Folding::appendFolded(m_word, info);
                stripMarks = info.stripsMarks;
            } else if (info.kind == CharKind::Mark) {
                if (!stripMarks)
                    Folding::appendFolded(m_word, info);
            } else if (info.kind != CharKind::Ignorable) {
                break;
            }
            i += length;
        }
        m_parts.push_back({offset, m_word.size() - offset, start, i});
        // A joiner continues the word only between two letters.
        if (i + 1 >= text.size() || !isJoiner(text[i]) || m_parts.size() >= 4 * kMostJoinedParts)
            break;
        std::size_t length = 1;
        if (Folding::infoOf(codePointAt(text, i + 1, length)).kind != CharKind::Letter)
            break;
        const wchar_t joiner = text[i] == 0x2019 ? L'\'' : text[i];
        m_joiners.push_back(joiner);
        m_word.push_back(joiner);
        ++i;
    }
    emitJoinedWord();
}

std::wstring_view CTermCollector::partsText(std::size_t first, std::size_t last) const {
    const std::size_t begin = m_parts[first].offset;
    const std::size_t end = m_parts[last].offset + m_parts[last].length;
    return std::wstring_view(m_word).substr(begin, end - begin);
}

void CTermCollector::emitJoinedWord() {
    const std::size_t count = m_parts.size();
    const bool keptWhole = count > 1 && count <= kMostJoinedParts &&
                           m_word.size() <= kLongestJoinedWord &&
                           std::any_of(m_joiners.begin(), m_joiners.end(), isWholeJoiner);
    const std::int32_t first = m_iPosition;
    m_iPosition += static_cast<std::int32_t>(count);
    if (keptWhole && m_use == WordUse::Searching) {
        // The parts after it in a phrase stand where they stand in the index.
        add(m_word, first, m_parts.front().start, m_parts.back().end);
        return;
    }
    for (std::size_t k = 0; k < count; ++k) {
        const Part& part = m_parts[k];
        const std::int32_t position = first + static_cast<std::int32_t>(k);
        add(std::wstring_view(m_word).substr(part.offset, part.length), position, part.start,
            part.end);
        if (!keptWhole)
            continue;
        // The joined words that begin with this part: the whole, the address's
        // name and domain, and the tails of a dotted name of two labels or more.
        const std::size_t end = m_parts.back().end;
        if (k == 0)
            add(m_word, position, part.start, end);
        std::size_t segmentEnd = k;
        while (segmentEnd + 1 < count && m_joiners[segmentEnd] != L'@')
            ++segmentEnd;
        const bool segmentStart = k == 0 || m_joiners[k - 1] == L'@';
        const std::size_t wordEnd = m_parts[segmentEnd].end;
        if (segmentStart && segmentEnd > k && (k > 0 || segmentEnd + 1 < count)) {
            add(partsText(k, segmentEnd), position, part.start, wordEnd);
        } else if (k > 0 && m_joiners[k - 1] == L'.') {
            const bool twoLabels =
                std::find(m_joiners.begin() + static_cast<std::ptrdiff_t>(k),
                          m_joiners.begin() + static_cast<std::ptrdiff_t>(segmentEnd),
                          L'.') != m_joiners.begin() + static_cast<std::ptrdiff_t>(segmentEnd);
            if (twoLabels)
                add(partsText(k, segmentEnd), position, part.start, wordEnd);
        }
    }
}

void CTermCollector::scanIdeographs(std::wstring_view text, std::size_t& i) {
    struct Unit {
        std::size_t offset;
        std::size_t length;
        std::size_t start;
        std::size_t end;
    };
    m_word.clear();
    std::vector<Unit> units;
    while (i < text.size()) {
        std::size_t length = 1;
        const CharInfo info = Folding::infoOf(codePointAt(text, i, length));
        if (info.kind == CharKind::Ideograph) {
            const std::size_t offset = m_word.size();
            Folding::appendFolded(m_word, info);
            units.push_back({offset, m_word.size() - offset, i, i + length});
        } else if (info.kind != CharKind::Mark && info.kind != CharKind::Ignorable) {
            break;
        }
        i += length;
    }
    const std::wstring_view word(m_word);
    if (units.size() == 1) {
        add(word.substr(units[0].offset, units[0].length), m_iPosition++, units[0].start,
            units[0].end);
        return;
    }
    for (std::size_t k = 0; k + 1 < units.size(); ++k) {
        m_pair.assign(word.substr(units[k].offset, units[k].length));
        m_pair.append(word.substr(units[k + 1].offset, units[k + 1].length));
        add(m_pair, m_iPosition++, units[k].start, units[k + 1].end);
    }
}

CAnalyzedText::CAnalyzedText(std::wstring_view text, WordUse use) {
    m_chars.reserve(text.size());
    CTermCollector(*this, use).analyze(text);
    // One pass over all the terms at once, which the compiler vectorises.
    bool beyond = false;
    for (const wchar_t c : m_chars)
        beyond |= static_cast<std::uint32_t>(c) > 0xFFFF;
    m_bBeyondBasicPlane = beyond;
}

std::vector<AnalyzedTerm> analyzeWords(std::wstring_view text, WordUse use) {
    const CAnalyzedText analyzed(text, use);
    std::vector<AnalyzedTerm> terms;
    terms.reserve(analyzed.size());
    for (std::size_t i = 0; i < analyzed.size(); ++i) {
        const CAnalyzedText::Entry& entry = analyzed.entry(i);
        terms.push_back({std::wstring(analyzed.term(i)), entry.position, entry.start, entry.end});
    }
    return terms;
}

std::vector<TypedWords> splitTypedWords(std::wstring_view typed) {
    // A quote without its partner counts for nothing.
    std::size_t quotes = std::count(typed.begin(), typed.end(), L'"');
    std::size_t lastQuote = quotes % 2 == 1 ? typed.rfind(L'"') : std::wstring_view::npos;
    std::vector<TypedWords> words;
    const auto addWords = [&](std::wstring_view text, bool quoted) {
        std::vector<AnalyzedTerm> terms = analyzeWords(text, WordUse::Searching);
        if (!terms.empty())
            words.push_back({std::wstring(text), std::move(terms), quoted});
    };
    bool inQuotes = false;
    std::size_t start = 0;
    for (std::size_t i = 0; i <= typed.size(); ++i) {
        const bool atEnd = i == typed.size();
        const wchar_t c = atEnd ? L' ' : typed[i];
        if (c == L'"' && i != lastQuote) {
            if (inQuotes)
                addWords(typed.substr(start, i - start), true);
            else if (i > start)
                addWords(typed.substr(start, i - start), false);
            inQuotes = !inQuotes;
            start = i + 1;
        } else if (!inQuotes && (atEnd || std::iswspace(static_cast<wint_t>(c)))) {
            if (i > start)
                addWords(typed.substr(start, i - start), false);
            start = i + 1;
        }
    }
    return words;
}

bool isIdeographicTerm(std::wstring_view term) {
    std::size_t length = 1;
    return !term.empty() &&
           Folding::infoOf(codePointAt(term, 0, length)).kind == CharKind::Ideograph;
}

std::wstring foldWildcardWord(std::wstring_view word) {
    std::wstring folded;
    bool stripMarks = false;
    for (std::size_t i = 0; i < word.size();) {
        std::size_t length = 1;
        const char32_t c = codePointAt(word, i, length);
        const CharInfo info = Folding::infoOf(c);
        if (info.kind == CharKind::Letter || info.kind == CharKind::Ideograph) {
            Folding::appendFolded(folded, info);
            stripMarks = info.stripsMarks;
        } else if (info.kind == CharKind::Mark) {
            if (!stripMarks)
                Folding::appendFolded(folded, info);
        } else if (info.kind != CharKind::Ignorable) {
            folded.append(word.substr(i, length));
        }
        i += length;
    }
    return folded;
}

CAnalyzedTokenStream::CAnalyzedTokenStream(std::shared_ptr<const CAnalyzedText> terms)
    : m_pTerms(std::move(terms)) {}

lucene::analysis::Token* CAnalyzedTokenStream::next(lucene::analysis::Token* token) {
    if (m_iNext >= m_pTerms->size())
        return nullptr;
    const CAnalyzedText::Entry& entry = m_pTerms->entry(m_iNext);
    const std::wstring_view term = m_pTerms->term(m_iNext);
    ++m_iNext;
    token->clear();
    // The index keeps 16-bit units: characters past U+FFFF go in as pairs,
    // as stored text does.
    if (!m_pTerms->beyondBasicPlane()) {
        // Copied straight into the token's buffer: setText would first
        // measure the term up to its NUL, which the shared buffer lacks.
        wchar_t* buffer = token->resizeTermBuffer(term.size() + 1);
        std::wmemcpy(buffer, term.data(), term.size());
        buffer[term.size()] = 0;
        token->setTermLength(static_cast<int32_t>(term.size()));
    } else {
        std::wstring units;
        for (const wchar_t c : term) {
            const auto cp = static_cast<std::uint32_t>(c);
            if (cp > 0xFFFF && cp <= 0x10FFFF) {
                units.push_back(static_cast<wchar_t>(0xD800 + ((cp - 0x10000) >> 10)));
                units.push_back(static_cast<wchar_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
            } else {
                units.push_back(c);
            }
        }
        token->setText(units.c_str(), static_cast<int32_t>(units.size()));
    }
    token->setStartOffset(static_cast<int32_t>(entry.start));
    token->setEndOffset(static_cast<int32_t>(entry.end));
    token->setPositionIncrement(entry.position - m_iLastPosition);
    m_iLastPosition = entry.position;
    return token;
}

lucene::analysis::TokenStream* CWordAnalyzer::tokenStream(const TCHAR* /*fieldName*/,
                                                          lucene::util::Reader* reader) {
    std::wstring text;
    const TCHAR* chunk = nullptr;
    for (;;) {
        const int32_t read = reader->read(chunk, 1, 4096);
        if (read <= 0)
            break;
        text.append(chunk, static_cast<std::size_t>(read));
    }
    return new CAnalyzedTokenStream(std::make_shared<const CAnalyzedText>(text, m_use));
}

} // namespace Kerf::Search
