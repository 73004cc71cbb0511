#include "mail/MessageBody.h"

#include "mail/CodePages.h"
#include "mail/CompressedRtf.h"
#include "mail/HtmlText.h"
#include "mail/MapiMapiProp.h"
#include "mail/RtfText.h"

#include <optional>
#include <vector>

namespace Kerf::QuireLib::MessageBody {
namespace {

using namespace Mapi;

constexpr ULONG PR_HTML_W = CHANGE_PROP_TYPE(PR_HTML, PT_UNICODE);

// The whole of one stream property; nothing when it is absent or unreadable.
std::optional<std::vector<std::uint8_t>> readStream(CMapiObject& object, ULONG tag,
                                                    ULONG& storedType) {
    std::unique_ptr<CStream> stream;
    if (FAILED(object.OpenProperty(tag, stream, storedType)))
        return std::nullopt;
    try {
        std::vector<std::uint8_t> data;
        MapiProp::getStreamData_Throw(object, *stream, data);
        return data;
    } catch (const CMapiException&) {
        return std::nullopt;
    }
}

// The internet code page, which HTML without a declared charset is read in,
// else the message's own.
int htmlCodePage(CMapiObject& message) {
    std::vector<SPropValue> values;
    const ULONG tags[] = {PR_INTERNET_CPID};
    message.GetProps(tags, 0, values);
    if (values.size() == 1 && values[0].ulPropTag == PR_INTERNET_CPID && values[0].l() > 0 &&
        values[0].l() < 65536)
        return values[0].l();
    return message.codePage();
}

} // namespace

std::wstring htmlBytesToText(std::string_view bytes, int codePage) {
    const std::string charset = Html::declaredCharset(bytes);
    std::optional<std::wstring> html;
    if (!charset.empty())
        html = CodePages::decodeCharset(bytes, charset);
    if (!html)
        html = CodePages::decode(bytes, codePage);
    return Html::toPlainText(*html);
}

bool fromHtml(CMapiObject& message, std::wstring& body) {
    ULONG storedType = PT_BINARY;
    std::optional<std::vector<std::uint8_t>> data = readStream(message, PR_HTML, storedType);
    if (!data)
        data = readStream(message, PR_HTML_W, storedType);
    if (!data)
        return false;
    if (storedType == PT_UNICODE) {
        body = Html::toPlainText(
            decodeStoredText(data->data(), data->size(), PT_UNICODE, message.codePage()));
        return true;
    }
    const int codePage = storedType == PT_STRING8 ? message.codePage() : htmlCodePage(message);
    body = htmlBytesToText(
        std::string_view(reinterpret_cast<const char*>(data->data()), data->size()), codePage);
    return true;
}

bool fromRtf(CMapiObject& message, std::wstring& body) {
    ULONG storedType = PT_BINARY;
    const std::optional<std::vector<std::uint8_t>> data =
        readStream(message, PR_RTF_COMPRESSED, storedType);
    if (!data)
        return false;
    const std::optional<std::string> rtf = Rtf::decompress(data->data(), data->size());
    if (!rtf)
        return false;
    Rtf::Extracted extracted = Rtf::extract(*rtf, message.codePage());
    body = extracted.bHtml ? Html::toPlainText(extracted.text) : std::move(extracted.text);
    return true;
}

} // namespace Kerf::QuireLib::MessageBody
