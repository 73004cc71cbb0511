#pragma once
// Plain text of an HTML message body, for messages that carry no plain-text
// body: libxml2's forgiving HTML parser reads the document, and the text is
// taken from its events as they come (no tree is built), with scripts, styles
// and the head left out, entities decoded, white space collapsed and block
// elements put on lines of their own.

#include <string>
#include <string_view>

namespace Kerf::Html {

/// The charset the document declares through a byte-order mark or a meta tag
/// near its start, lower-cased; empty when it declares none.
std::string declaredCharset(std::string_view bytes);

/// The document's text, lines ending in "\r\n".
std::wstring toPlainText(std::wstring_view html);

/// HTML held as bytes to wide text: in the charset the document declares,
/// else in the Windows code page `codePage`.
std::wstring decodeBytes(std::string_view bytes, int codePage);

} // namespace Kerf::Html
