#include "search/CharacterFolding.h"

#include <unicode/normalizer2.h>
#include <unicode/translit.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/uscript.h>

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace Kerf::Search::Folding {

namespace detail {
std::array<std::atomic<const CharInfo*>, 256> g_pages{};
} // namespace detail

namespace {

struct Worked {
    CharKind kind = CharKind::Other;
    bool stripsMarks = false;
    std::wstring folded;
};

class Icu {
public:
    Icu() {
        UErrorCode status = U_ZERO_ERROR;
        m_pCaseFold = icu::Normalizer2::getNFKCCasefoldInstance(status);
        status = U_ZERO_ERROR;
        m_pDecompose = icu::Normalizer2::getNFDInstance(status);
        status = U_ZERO_ERROR;
        m_pLatinToAscii.reset(
            icu::Transliterator::createInstance("Latin-ASCII", UTRANS_FORWARD, status));
        if (U_FAILURE(status))
            m_pLatinToAscii.reset();
    }

    // Called under the table's lock: a transliterator is not to be shared
    // between threads.
    Worked work(char32_t c) const {
        Worked worked;
        const auto cp = static_cast<UChar32>(c);
        if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
            return worked;
        worked.kind = kindOf(cp);
        if (worked.kind == CharKind::Other || worked.kind == CharKind::Ignorable)
            return worked;
        UErrorCode status = U_ZERO_ERROR;
        icu::UnicodeString text(cp);
        if (m_pCaseFold != nullptr) {
            icu::UnicodeString folded = m_pCaseFold->normalize(text, status);
            if (U_SUCCESS(status))
                text = folded;
        }
        UErrorCode scriptStatus = U_ZERO_ERROR;
        const UScriptCode script = uscript_getScript(cp, &scriptStatus);
        worked.stripsMarks =
            script == USCRIPT_LATIN || script == USCRIPT_GREEK || script == USCRIPT_CYRILLIC;
        if (worked.stripsMarks)
            text = withoutMarks(text, script == USCRIPT_LATIN);
        for (int32_t i = 0; i < text.length();) {
            const UChar32 unit = text.char32At(i);
            worked.folded.push_back(static_cast<wchar_t>(unit));
            i += U16_LENGTH(unit);
        }
        return worked;
    }

private:
    static CharKind kindOf(UChar32 c) {
        // Soft hyphens and joiners sit inside words without splitting them.
        if (c == 0x00AD || c == 0x200C || c == 0x200D || c == 0x2060 || c == 0xFEFF)
            return CharKind::Ignorable;
        switch (u_charType(c)) {
        case U_NON_SPACING_MARK:
        case U_ENCLOSING_MARK:
            return CharKind::Mark;
        case U_UPPERCASE_LETTER:
        case U_LOWERCASE_LETTER:
        case U_TITLECASE_LETTER:
        case U_MODIFIER_LETTER:
        case U_OTHER_LETTER:
        case U_DECIMAL_DIGIT_NUMBER:
        case U_LETTER_NUMBER:
        case U_OTHER_NUMBER:
        case U_COMBINING_SPACING_MARK:
            break;
        default:
            return CharKind::Other;
        }
        for (const UScriptCode script :
             {USCRIPT_HAN, USCRIPT_HIRAGANA, USCRIPT_KATAKANA, USCRIPT_HANGUL})
            if (uscript_hasScript(c, script))
                return CharKind::Ideograph;
        return CharKind::Letter;
    }

    icu::UnicodeString withoutMarks(const icu::UnicodeString& text, bool latin) const {
        UErrorCode status = U_ZERO_ERROR;
        icu::UnicodeString decomposed =
            m_pDecompose != nullptr ? m_pDecompose->normalize(text, status) : text;
        if (U_FAILURE(status))
            decomposed = text;
        icu::UnicodeString bare;
        bool plain = true;
        for (int32_t i = 0; i < decomposed.length();) {
            const UChar32 unit = decomposed.char32At(i);
            const int8_t type = u_charType(unit);
            if (type != U_NON_SPACING_MARK && type != U_ENCLOSING_MARK) {
                bare.append(unit);
                plain = plain && unit < 0x80;
            }
            i += U16_LENGTH(unit);
        }
        // ł, ø, đ, æ, œ, ı and the like have no mark to take off.
        if (latin && !plain && m_pLatinToAscii)
            m_pLatinToAscii->transliterate(bare);
        return bare;
    }

    const icu::Normalizer2* m_pCaseFold = nullptr;
    const icu::Normalizer2* m_pDecompose = nullptr;
    std::unique_ptr<icu::Transliterator> m_pLatinToAscii;
};

struct Page {
    std::array<CharInfo, 256> info;
    std::wstring pool;
};

class Table {
public:
    CharInfo lookup(char32_t c) {
        if (c <= 0xFFFF)
            return build(c >> 8)[c & 0xFF];
        // Beyond the first plane: rare, kept one by one.
        std::lock_guard lock(m_lock);
        auto found = m_rare.find(c);
        if (found == m_rare.end()) {
            found = m_rare.emplace(c, icu().work(c)).first;
        }
        const Worked& worked = found->second;
        return {worked.kind, worked.stripsMarks, static_cast<std::uint16_t>(worked.folded.size()),
                worked.folded.c_str()};
    }

private:
    const Icu& icu() {
        if (!m_pIcu)
            m_pIcu = std::make_unique<Icu>();
        return *m_pIcu;
    }

    // The page's characters, worked out on first sight and published in
    // detail::g_pages for the readers that take no lock.
    const CharInfo* build(char32_t pageNumber) {
        std::lock_guard lock(m_lock);
        if (const CharInfo* page = detail::g_pages[pageNumber].load(std::memory_order_relaxed))
            return page;
        auto page = std::make_unique<Page>();
        std::array<std::size_t, 256> offsets{};
        std::array<Worked, 256> worked;
        for (char32_t low = 0; low < 256; ++low) {
            worked[low] = icu().work((pageNumber << 8) | low);
            offsets[low] = page->pool.size();
            page->pool.append(worked[low].folded);
        }
        for (char32_t low = 0; low < 256; ++low)
            page->info[low] = {worked[low].kind, worked[low].stripsMarks,
                               static_cast<std::uint16_t>(worked[low].folded.size()),
                               page->pool.c_str() + offsets[low]};
        const CharInfo* built = page.release()->info.data();
        detail::g_pages[pageNumber].store(built, std::memory_order_release);
        return built;
    }

    std::mutex m_lock;
    std::unique_ptr<Icu> m_pIcu;
    std::unordered_map<char32_t, Worked> m_rare;
};

Table& table() {
    // Never destroyed: threads still analysing while the program ends keep it.
    static Table* instance = new Table;
    return *instance;
}

} // namespace

CharInfo detail::infoOfUnseen(char32_t c) {
    return table().lookup(c);
}

} // namespace Kerf::Search::Folding
