#pragma once
// What the word analyzer needs to know of each character, taken from ICU:
// its kind, and its folded form (full case folding and compatibility
// normalisation; for Latin, Greek and Cyrillic letters also without their
// marks, and Latin letters that have no mark to take off, such as ł, ø, đ,
// æ or ı, spelt in plain letters). Each character of the Basic Multilingual
// Plane is worked out once, on first sight, in pages of 256.

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

namespace Kerf::Search::Folding {

enum class CharKind : std::uint8_t {
    Other,     // splits words
    Letter,    // a letter, digit or spacing mark: part of a word
    Mark,      // a combining mark: part of the word before it
    Ignorable, // inside a word, counts for nothing (soft hyphen, joiners)
    Ideograph, // Chinese, Japanese and Korean: words of two characters
};

struct CharInfo {
    CharKind kind = CharKind::Other;
    bool stripsMarks = false; // a Latin, Greek or Cyrillic letter
    std::uint16_t length = 0; // of the folded form
    const wchar_t* folded = nullptr;
};

namespace detail {
// The pages of the Basic Multilingual Plane worked out so far, 256
// characters each; null until a character of the page is first seen.
extern std::array<std::atomic<const CharInfo*>, 256> g_pages;
CharInfo infoOfUnseen(char32_t c);
} // namespace detail

/// The character's kind and folded form; the form stays valid for the
/// life of the program. Inline, as the analyzer asks it of every character
/// it reads.
inline CharInfo infoOf(char32_t c) {
    if (c <= 0xFFFF)
        if (const CharInfo* page = detail::g_pages[c >> 8].load(std::memory_order_acquire))
            return page[c & 0xFF];
    return detail::infoOfUnseen(c);
}

inline void appendFolded(std::wstring& out, const CharInfo& info) {
    if (info.length == 1)
        out.push_back(*info.folded);
    else
        out.append(info.folded, info.length);
}

} // namespace Kerf::Search::Folding
