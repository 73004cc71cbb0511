#pragma once
// The body of a message that has no plain-text body: taken from its HTML
// body, else from its compressed RTF body (the HTML inside it when it was
// made from HTML, its plain text otherwise).

#include "msgfile/MapiObject.h"

#include <string>
#include <string_view>

namespace Kerf::QuireLib::MessageBody {

/// From PR_HTML; false when the message has none.
bool fromHtml(Mapi::CMapiObject& message, std::wstring& body);

/// From PR_RTF_COMPRESSED; false when the message has none or it is unreadable.
bool fromRtf(Mapi::CMapiObject& message, std::wstring& body);

/// The HTML of the body as it was written: PR_HTML decoded, else the HTML
/// that an RTF body made from HTML carries; false when there is neither.
bool htmlSource(Mapi::CMapiObject& message, std::wstring& html);

} // namespace Kerf::QuireLib::MessageBody
