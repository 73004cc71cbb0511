#include "search/WordAnalyzer.h"
#include "support/Strings.h"

#include <gtest/gtest.h>

using namespace Kerf;
using namespace Kerf::Search;

namespace {

std::wstring termsOf(std::wstring_view text, WordUse use) {
    std::wstring out;
    for (const AnalyzedTerm& term : analyzeWords(text, use))
        out += (out.empty() ? L"" : L" ") + term.text + L"@" + std::to_wstring(term.position);
    return out;
}

} // namespace

TEST(WordAnalyzer, TermsAndPositions) {
    const struct {
        const wchar_t* text;
        WordUse use;
        const wchar_t* terms;
    } cases[] = {
        {L"Straße STRASSE ΣΟΦΟΣ σοφός", WordUse::Indexing, L"strasse@0 strasse@1 σοφοσ@2 σοφοσ@3"},
        {L"Ёлка łøđ Æble Œuvre ıİ", WordUse::Indexing, L"елка@0 lod@1 aeble@2 oeuvre@3 ii@4"},
        // Typed words fold as the index's words do.
        {L"Àéroport téléphonique ёлка ПРИВЕТ Łódź Ørsted Örsted Bestellbestätigung",
         WordUse::Searching,
         L"aeroport@0 telephonique@1 елка@2 привет@3 lodz@4 orsted@5 orsted@6 "
         L"bestellbestatigung@7"},
        {L"Bestell\u00ADbestätigung, e-mail", WordUse::Indexing,
         L"bestellbestatigung@0 e@1 mail@2"},
        {L"John.Smith@firm.co.uk", WordUse::Indexing,
         L"john@0 john.smith@firm.co.uk@0 john.smith@0 smith@1 firm@2 firm.co.uk@2 co@3 co.uk@3 "
         L"uk@4"},
        {L"John.Smith@firm.co.uk", WordUse::Searching, L"john.smith@firm.co.uk@0"},
        // The word after an address keeps its distance, as in the index.
        {L"see a@b.c now.", WordUse::Searching, L"see@0 a@b.c@1 now@4"},
        {L"東京都庁で会議 會", WordUse::Indexing,
         L"東京@0 京都@1 都庁@2 庁で@3 で会@4 会議@5 會@6"},
        {L"-- ...", WordUse::Indexing, L""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(termsOf(c.text, c.use), c.terms) << Util::toNarrow(c.text);
}

TEST(WordAnalyzer, TypedWordsAndPhrases) {
    const struct {
        const wchar_t* typed;
        const wchar_t* words; // each word's terms in braces, a phrase marked "q"
    } cases[] = {
        {L"\"sujet bien\" autre", L"{q sujet bien} {autre}"},
        {L"re: plain! a:b \\", L"{re} {plain} {a b}"},
        {L"\"quoted", L"{quoted}"},
        {L"x \"a b", L"{x} {a} {b}"},
    };
    for (const auto& c : cases) {
        std::wstring words;
        for (const TypedWords& word : splitTypedWords(c.typed)) {
            words += words.empty() ? L"{" : L" {";
            words += word.quoted ? L"q " : L"";
            for (std::size_t i = 0; i < word.terms.size(); ++i)
                words += (i > 0 ? L" " : L"") + word.terms[i].text;
            words += L"}";
        }
        EXPECT_EQ(words, c.words) << Util::toNarrow(c.typed);
    }
}
