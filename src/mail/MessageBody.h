#pragma once
// The body of a message that has no plain-text body: taken from its HTML
// body, else from its compressed RTF body (the HTML inside it when it was
// made from HTML, its plain text otherwise).

#include "mail/MapiObject.h"

#include <string>
#include <string_view>

namespace Kerf::QuireLib::MessageBody {

/// From PR_HTML; false when the message has none.
bool fromHtml(Mapi::CMapiObject& message, std::wstring& body);

/// From PR_RTF_COMPRESSED; false when the message has none or it is unreadable.
bool fromRtf(Mapi::CMapiObject& message, std::wstring& body);

/// Plain text of HTML held as bytes: in the charset the document declares,
/// else in `codePage`.
std::wstring htmlBytesToText(std::string_view bytes, int codePage);

/// The HTML of the body as it was written: PR_HTML decoded, else the HTML
/// that an RTF body made from HTML carries; false when there is neither.
bool htmlSource(Mapi::CMapiObject& message, std::wstring& html);

} // namespace Kerf::QuireLib::MessageBody
