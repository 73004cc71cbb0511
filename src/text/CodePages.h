#pragma once
// 8-bit and UTF-16 text to wide text. 8-bit text is in a Windows code page,
// converted through iconv; messageCodePage chooses it from the values a
// message or document states about itself.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Kerf::CodePages {

/// The ANSI code page of a Windows locale identifier's language; 0 for a
/// language written only in Unicode or an identifier that names none.
int ansiCodePageOfLocale(std::uint32_t localeId);

/// The code page for 8-bit text: the message's own code page, else the ANSI
/// code page of its locale's language, else its internet code page, else 1252.
int messageCodePage(std::optional<std::uint32_t> codePage, std::optional<std::uint32_t> localeId,
                    std::optional<std::uint32_t> internetCodePage);

/// The iconv name of a Windows code page.
std::string iconvName(int codePage);

/// 8-bit text in a Windows code page to wide text. Bytes the code page does
/// not map become U+FFFD; a code page iconv does not know is read as 1252.
std::wstring decode(std::string_view bytes, int codePage);

/// The same by charset name (as HTML names it). Returns nothing when iconv
/// does not know the name.
std::optional<std::wstring> decodeCharset(std::string_view bytes, const std::string& charset);

/// UTF-16LE to wide text; an unpaired surrogate becomes U+FFFD and an odd
/// final byte is dropped. With `stopAtNul` the text ends before the first NUL.
std::wstring decodeUtf16le(const std::uint8_t* data, std::size_t size, bool stopAtNul = false);

} // namespace Kerf::CodePages
