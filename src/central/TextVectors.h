#pragma once
// The text forms in which the central index's words reach PostgreSQL: a
// tsvector literal of a field's words with their positions, and tsquery texts
// of what a user typed. Both go to the server as bound values, cast there,
// so the server never splits or stems words itself: the words are ours.

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace Kerf::Central {

/// Limits of a tsvector that the server accepts: per word, positions up to
/// 16383 and at most 255 of them; words up to 2046 bytes; under 1 MB of
/// words in all. Beyond them words are left out, never the whole field.
inline constexpr std::size_t kMaxWordBytes = 2046;
inline constexpr std::size_t kMaxPositionsPerWord = 255;
inline constexpr std::uint32_t kMaxPosition = 16383;
inline constexpr std::size_t kMaxVectorBytes = 900 * 1024;

/// "'word':1,4 'other':2" for the text's words (UTF-8).
std::string toTsVectorText(std::wstring_view text);

/// The same for several texts of one field (the names and the addresses of
/// the recipients), each placed well after the one before it, as the
/// per-user index does, so that no phrase spans two of them.
std::string toTsVectorText(std::initializer_list<std::wstring_view> texts);

/// Every typed word as a word prefix, all required ("'annual':* & 'rep':*");
/// a word of several terms (an address, a Chinese run) or a phrase in double
/// quotes as its terms in sequence, a phrase without a prefix. Empty when
/// nothing typed holds a word.
std::string toPrefixQueryText(std::wstring_view typed);

/// The same with every word whole: "'annual' & 'report'".
std::string toPhraseQueryText(std::wstring_view typed);

} // namespace Kerf::Central
