#include "text/DocumentText.h"

#include "support/Strings.h"
#include "text/CodePages.h"
#include "text/HtmlText.h"
#include "text/RtfText.h"

#include <algorithm>
#include <array>
#include <cwctype>
#include <exception>

namespace Kerf::QuireLib::DocumentText {
namespace {

struct KindName {
    const wchar_t* text;
    Kind kind;
};

constexpr std::array<KindName, 14> kExtensions = {{
    {L"txt", Kind::Plain},
    {L"csv", Kind::Plain},
    {L"text", Kind::Plain},
    {L"htm", Kind::Html},
    {L"html", Kind::Html},
    {L"rtf", Kind::Rtf},
    {L"pdf", Kind::Pdf},
    {L"docx", Kind::OfficeOpenXml},
    {L"xlsx", Kind::OfficeOpenXml},
    {L"pptx", Kind::OfficeOpenXml},
    {L"odt", Kind::OpenDocument},
    {L"ods", Kind::OpenDocument},
    {L"odp", Kind::OpenDocument},
    {L"xhtml", Kind::Html},
}};

constexpr std::array<KindName, 12> kMimeTypes = {{
    {L"text/plain", Kind::Plain},
    {L"text/csv", Kind::Plain},
    {L"text/html", Kind::Html},
    {L"text/rtf", Kind::Rtf},
    {L"application/rtf", Kind::Rtf},
    {L"application/pdf", Kind::Pdf},
    {L"application/vnd.openxmlformats-officedocument.wordprocessingml.document",
     Kind::OfficeOpenXml},
    {L"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet", Kind::OfficeOpenXml},
    {L"application/vnd.openxmlformats-officedocument.presentationml.presentation",
     Kind::OfficeOpenXml},
    {L"application/vnd.oasis.opendocument.text", Kind::OpenDocument},
    {L"application/vnd.oasis.opendocument.spreadsheet", Kind::OpenDocument},
    {L"application/vnd.oasis.opendocument.presentation", Kind::OpenDocument},
}};

bool startsWith(std::span<const std::uint8_t> bytes, std::string_view prefix) {
    return bytes.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), bytes.begin(),
                      [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; });
}

std::string_view asChars(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The header may follow some bytes of junk, within the first kilobyte.
bool looksLikePdf(std::span<const std::uint8_t> bytes) {
    const std::string_view head = asChars(bytes.first(std::min<std::size_t>(bytes.size(), 1024)));
    return head.find("%PDF-") != std::string_view::npos;
}

bool isValidUtf8(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<unsigned char>(text[i]);
        const std::size_t length = c < 0x80         ? 1
                                   : (c >> 5) == 6  ? 2
                                   : (c >> 4) == 14 ? 3
                                   : (c >> 3) == 30 ? 4
                                                    : 0;
        if (length == 0 || i + length > text.size())
            return false;
        for (std::size_t k = 1; k < length; ++k)
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80)
                return false;
        i += length;
    }
    return true;
}

std::wstring capped(std::wstring text, std::size_t maxChars) {
    if (text.size() > maxChars)
        text.resize(maxChars);
    return text;
}

std::wstring extractAny(Kind kind, std::span<const std::uint8_t> bytes, int codePage,
                        const Limits& limits);

} // namespace

Kind kindOf(std::wstring_view fileName, std::wstring_view mimeType) {
    const std::size_t dot = fileName.rfind(L'.');
    if (dot != std::wstring_view::npos) {
        const std::wstring extension = Util::toLower(fileName.substr(dot + 1));
        for (const KindName& entry : kExtensions)
            if (extension == entry.text)
                return entry.kind;
    }
    const std::wstring mime = Util::toLower(mimeType);
    for (const KindName& entry : kMimeTypes)
        if (mime == entry.text)
            return entry.kind;
    return Kind::None;
}

std::wstring fromUtf8(std::string_view utf8, std::size_t maxChars) {
    // No character takes more than four bytes.
    if (utf8.size() / 4 > maxChars)
        utf8 = utf8.substr(0, maxChars * 4);
    return capped(Util::toWide(utf8), maxChars);
}

std::wstring plainText(std::span<const std::uint8_t> bytes, int codePage, std::size_t maxChars) {
    // A byte-order mark says what the text is in; so does text that is valid
    // UTF-8 throughout. Anything else is in the message's code page.
    if (startsWith(bytes, "\xEF\xBB\xBF"))
        return fromUtf8(asChars(bytes.subspan(3)), maxChars);
    if (startsWith(bytes, "\xFF\xFE")) {
        const std::size_t size = std::min(bytes.size() - 2, maxChars * 2);
        return capped(CodePages::decodeUtf16le(bytes.data() + 2, size), maxChars);
    }
    std::string_view text = asChars(bytes);
    if (isValidUtf8(text))
        return fromUtf8(text, maxChars);
    if (text.size() > maxChars)
        text = text.substr(0, maxChars);
    return capped(CodePages::decode(text, codePage), maxChars);
}

std::wstring extract(Kind kind, std::span<const std::uint8_t> bytes, int codePage,
                     const Limits& limits) {
    std::wstring text = extractAny(kind, bytes, codePage, limits);
    // Blank pages and empty parts leave white space and form feeds behind.
    if (std::none_of(text.begin(), text.end(), [](wchar_t c) { return std::iswalnum(c); }))
        return {};
    return text;
}

namespace {

std::wstring extractAny(Kind kind, std::span<const std::uint8_t> bytes, int codePage,
                        const Limits& limits) {
    try {
        switch (kind) {
        case Kind::None:
            return {};
        case Kind::Plain:
            return plainText(bytes, codePage, limits.maxChars);
        case Kind::Html:
            return capped(Html::toPlainText(Html::decodeBytes(asChars(bytes), codePage)),
                          limits.maxChars);
        case Kind::Rtf: {
            if (!startsWith(bytes, "{\\rtf"))
                return {};
            Rtf::Extracted extracted = Rtf::extract(asChars(bytes), codePage);
            if (extracted.bHtml)
                return capped(Html::toPlainText(extracted.text), limits.maxChars);
            return capped(std::move(extracted.text), limits.maxChars);
        }
        case Kind::Pdf:
            // Only a file that is one is worth a process of its own.
            return looksLikePdf(bytes) ? pdfText(bytes, limits) : std::wstring();
        case Kind::OfficeOpenXml:
        case Kind::OpenDocument:
            return startsWith(bytes, "PK\x03\x04") ? zipDocumentText(kind, bytes, limits)
                                                   : std::wstring();
        }
    } catch (const std::exception&) {
        // Out of memory or a library's own failure: the document gives no text.
    }
    return {};
}

} // namespace

} // namespace Kerf::QuireLib::DocumentText
