// libFuzzer target: the readers of attached documents on their own. The first
// byte chooses the reader; the PDF reader runs in this process, without the
// helper process and deadline that guard it in the indexer, so that the
// fuzzer's own timeout and sanitizers see whatever poppler does.

#include "text/DocumentText.h"

#include <cstddef>
#include <cstdint>

using namespace Kerf::QuireLib::DocumentText;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::span<const std::uint8_t> rest(data + 1, size - 1);
    Limits limits;
    limits.maxPdfPages = 50;
    limits.maxZipMemberBytes = 4 * 1024 * 1024;
    limits.maxZipTotalBytes = 8 * 1024 * 1024;
    std::wstring text;
    switch (data[0] % 6) {
    case 0:
        text = pdfTextInProcess(rest, limits);
        break;
    case 1:
        text = zipDocumentText(Kind::OfficeOpenXml, rest, limits);
        break;
    case 2:
        text = zipDocumentText(Kind::OpenDocument, rest, limits);
        break;
    case 3:
        text = plainText(rest, 1252, limits.maxChars);
        break;
    case 4:
        text = extract(Kind::Html, rest, 1251, limits);
        break;
    default:
        text = extract(Kind::Rtf, rest, 932, limits);
        break;
    }
    return text.size() > limits.maxChars ? 1 : 0;
}
