#include "msgfile/MessageBody.h"

#include "msgfile/CompressedRtf.h"
#include "msgfile/PropertyReader.h"
#include "text/HtmlText.h"
#include "text/RtfText.h"

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
        PropertyReader::getStreamData_Throw(object, *stream, data);
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

// PR_HTML as text, in whichever of its forms the message stores it.
std::optional<std::wstring> readHtml(CMapiObject& message) {
    ULONG storedType = PT_BINARY;
    std::optional<std::vector<std::uint8_t>> data = readStream(message, PR_HTML, storedType);
    if (!data)
        data = readStream(message, PR_HTML_W, storedType);
    if (!data)
        return std::nullopt;
    if (storedType == PT_UNICODE)
        return decodeStoredText(data->data(), data->size(), PT_UNICODE, message.codePage());
    const int codePage = storedType == PT_STRING8 ? message.codePage() : htmlCodePage(message);
    return Html::decodeBytes(
        std::string_view(reinterpret_cast<const char*>(data->data()), data->size()), codePage);
}

std::optional<Rtf::Extracted> readRtf(CMapiObject& message) {
    ULONG storedType = PT_BINARY;
    const std::optional<std::vector<std::uint8_t>> data =
        readStream(message, PR_RTF_COMPRESSED, storedType);
    if (!data)
        return std::nullopt;
    const std::optional<std::string> rtf = Rtf::decompress(data->data(), data->size());
    if (!rtf)
        return std::nullopt;
    return Rtf::extract(*rtf, message.codePage());
}

} // namespace

bool fromHtml(CMapiObject& message, std::wstring& body) {
    const std::optional<std::wstring> html = readHtml(message);
    if (!html)
        return false;
    body = Html::toPlainText(*html);
    return true;
}

bool fromRtf(CMapiObject& message, std::wstring& body) {
    std::optional<Rtf::Extracted> extracted = readRtf(message);
    if (!extracted)
        return false;
    body = extracted->bHtml ? Html::toPlainText(extracted->text) : std::move(extracted->text);
    return true;
}

bool htmlSource(CMapiObject& message, std::wstring& html) {
    if (std::optional<std::wstring> stored = readHtml(message)) {
        html = std::move(*stored);
        return true;
    }
    std::optional<Rtf::Extracted> extracted = readRtf(message);
    if (!extracted || !extracted->bHtml)
        return false;
    html = std::move(extracted->text);
    return true;
}

} // namespace Kerf::QuireLib::MessageBody
