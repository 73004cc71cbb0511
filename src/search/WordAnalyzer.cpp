#include "search/WordAnalyzer.h"

#include "search/CharacterFolding.h"
#include "search/IndexStorage.h"

#include <CLucene/util/CLStreams.h>

#include <algorithm>
#include <array>
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

/// How each ASCII character is read, taken once from the folding table, so
/// that the common case needs neither a look-up of its page nor a copy of
/// its entry: Split ends a word, Letter folds to one character, and General
/// is anything else, read as any other character is.
enum class AsciiKind : std::uint8_t { Split, Letter, General };
struct AsciiTable {
    std::array<AsciiKind, 128> kind{};
    std::array<wchar_t, 128> folded{};
    std::array<bool, 128> stripsMarks{};
};

const AsciiTable& asciiTable() {
    static const AsciiTable table = [] {
        AsciiTable ascii;
        for (std::size_t c = 0; c < 128; ++c) {
            const CharInfo info = Folding::infoOf(static_cast<char32_t>(c));
            if (info.kind == CharKind::Other) {
                ascii.kind[c] = AsciiKind::Split;
            } else if (info.kind == CharKind::Letter && info.length == 1) {
                ascii.kind[c] = AsciiKind::Letter;
                ascii.folded[c] = *info.folded;
                ascii.stripsMarks[c] = info.stripsMarks;
            } else {
                ascii.kind[c] = AsciiKind::General;
            }
        }
        return ascii;
    }();
    return table;
}

} // namespace

/// Gathers the terms of one text into a CAnalyzedText.
class CTermCollector {
public:
    CTermCollector(CAnalyzedText& out, WordUse use) : m_out(out), m_use(use) {}

    void analyze(std::wstring_view text);

private:
    struct Part {
        std::size_t offset; // in the output's characters
        std::size_t length;
        std::size_t start; // in the text
        std::size_t end;
    };

    void scanJoinedWord(std::wstring_view text, std::size_t& i);
    void scanIdeographs(std::wstring_view text, std::size_t& i);
    void emitJoinedWord();
    void add(std::wstring_view term, std::int32_t position, std::size_t start, std::size_t end);
    std::wstring_view partsText(std::size_t first, std::size_t last) const;
    /// The word being read: its folded parts with their joiners, or its
    /// folded ideographs. It is written once, at the end of the output's
    /// characters, and every term made of it is a stretch of it.
    std::wstring_view word() const { return std::wstring_view(m_out.m_chars).substr(m_iWord); }

    CAnalyzedText& m_out;
    WordUse m_use;
    const AsciiTable& m_ascii = asciiTable();
    std::int32_t m_iPosition = 0;
    std::size_t m_iWord = 0; // where the word begins in the output's characters
    std::vector<Part> m_parts;
    std::vector<wchar_t> m_joiners; // m_joiners[k] stands between part k and k + 1
};

void CTermCollector::analyze(std::wstring_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<std::uint32_t>(text[i]);
        if (c < 0x80 && m_ascii.kind[c] == AsciiKind::Split) {
            ++i;
            continue;
        }
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
    // The term is a stretch of the word already in the output.
    const auto offset = static_cast<std::uint32_t>(term.data() - m_out.m_chars.data());
    m_out.m_entries.push_back({offset, static_cast<std::uint32_t>(term.size()), position,
                               static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(end)});
}

void CTermCollector::scanJoinedWord(std::wstring_view text, std::size_t& i) {
    std::wstring& chars = m_out.m_chars;
    m_iWord = chars.size();
    m_parts.clear();
    m_joiners.clear();
    for (;;) {
        const std::size_t start = i;
        const std::size_t offset = chars.size();
        bool stripMarks = false;
        while (i < text.size()) {
            const auto c = static_cast<std::uint32_t>(text[i]);
            if (c < 0x80 && m_ascii.kind[c] != AsciiKind::General) {
                if (m_ascii.kind[c] == AsciiKind::Split)
                    break;
                chars.push_back(m_ascii.folded[c]);
                stripMarks = m_ascii.stripsMarks[c];
                ++i;
                continue;
            }
            std::size_t length = 1;
            const CharInfo info = Folding::infoOf(codePointAt(text, i, length));
            if (info.kind == CharKind::Letter) {
                Folding::appendFolded(chars, info);
                stripMarks = info.stripsMarks;
            } else if (info.kind == CharKind::Mark) {
                if (!stripMarks)
                    Folding::appendFolded(chars, info);
            } else if (info.kind != CharKind::Ignorable) {
                break;
            }
            i += length;
        }
        m_parts.push_back({offset, chars.size() - offset, start, i});
        // A joiner continues the word only between two letters.
        if (i + 1 >= text.size() || !isJoiner(text[i]) || m_parts.size() >= 4 * kMostJoinedParts)
            break;
        std::size_t length = 1;
        if (Folding::infoOf(codePointAt(text, i + 1, length)).kind != CharKind::Letter)
            break;
        const wchar_t joiner = text[i] == 0x2019 ? L'\'' : text[i];
        m_joiners.push_back(joiner);
        chars.push_back(joiner);
        ++i;
    }
    emitJoinedWord();
}

std::wstring_view CTermCollector::partsText(std::size_t first, std::size_t last) const {
    const std::size_t begin = m_parts[first].offset;
    const std::size_t end = m_parts[last].offset + m_parts[last].length;
    return std::wstring_view(m_out.m_chars).substr(begin, end - begin);
}

void CTermCollector::emitJoinedWord() {
    const std::size_t count = m_parts.size();
    const std::wstring_view whole = word();
    const bool keptWhole = count > 1 && count <= kMostJoinedParts &&
                           whole.size() <= kLongestJoinedWord &&
                           std::any_of(m_joiners.begin(), m_joiners.end(), isWholeJoiner);
    const std::int32_t first = m_iPosition;
    m_iPosition += static_cast<std::int32_t>(count);
    if (keptWhole && m_use == WordUse::Searching) {
        // The parts after it in a phrase stand where they stand in the index.
        add(whole, first, m_parts.front().start, m_parts.back().end);
        return;
    }
    for (std::size_t k = 0; k < count; ++k) {
        const Part& part = m_parts[k];
        const std::int32_t position = first + static_cast<std::int32_t>(k);
        add(std::wstring_view(m_out.m_chars).substr(part.offset, part.length), position, part.start,
            part.end);
        if (!keptWhole)
            continue;
        // The joined words that begin with this part: the whole, the address's
        // name and domain, and the tails of a dotted name of two labels or more.
        const std::size_t end = m_parts.back().end;
        if (k == 0)
            add(whole, position, part.start, end);
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
    std::wstring& chars = m_out.m_chars;
    std::vector<Unit> units;
    while (i < text.size()) {
        std::size_t length = 1;
        const CharInfo info = Folding::infoOf(codePointAt(text, i, length));
        if (info.kind == CharKind::Ideograph) {
            const std::size_t offset = chars.size();
            Folding::appendFolded(chars, info);
            units.push_back({offset, chars.size() - offset, i, i + length});
        } else if (info.kind != CharKind::Mark && info.kind != CharKind::Ignorable) {
            break;
        }
        i += length;
    }
    // The ideographs lie side by side, so each pair is a stretch of them.
    const std::wstring_view all(chars);
    if (units.size() == 1) {
        add(all.substr(units[0].offset, units[0].length), m_iPosition++, units[0].start,
            units[0].end);
        return;
    }
    for (std::size_t k = 0; k + 1 < units.size(); ++k) {
        const std::size_t end = units[k + 1].offset + units[k + 1].length;
        add(all.substr(units[k].offset, end - units[k].offset), m_iPosition++, units[k].start,
            units[k + 1].end);
    }
}

CAnalyzedText::CAnalyzedText(std::wstring_view text, WordUse use) {
    m_chars.reserve(text.size());
    CTermCollector(*this, use).analyze(text);
    // One pass over all the terms at once, here rather than term by term on
    // the index writer's thread.
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
    // as stored text does. Written straight into the token's buffer: setText
    // would first measure the term up to its NUL, which the shared buffer
    // lacks.
    const std::size_t length = m_pTerms->beyondBasicPlane() ? storedLength(term) : term.size();
    wchar_t* buffer = token->resizeTermBuffer(length + 1);
    writeStoredText(term, length, buffer);
    buffer[length] = 0;
    token->setTermLength(static_cast<int32_t>(length));
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
