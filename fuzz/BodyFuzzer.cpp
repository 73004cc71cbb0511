// libFuzzer target: the body converters on their own, which the message
// fuzzer seldom reaches through a valid compound file. The first byte
// chooses the converter.

#include "msgfile/CompressedRtf.h"
#include "text/HtmlText.h"
#include "text/RtfText.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string_view rest(reinterpret_cast<const char*>(data + 1), size - 1);
    switch (data[0] % 3) {
    case 0:
        // Compressed RTF, then whatever it holds.
        if (const auto rtf = Kerf::Rtf::decompress(data + 1, size - 1)) {
            const Kerf::Rtf::Extracted text = Kerf::Rtf::extract(*rtf, 1252);
            if (text.bHtml)
                Kerf::Html::toPlainText(text.text);
        }
        break;
    case 1: {
        const Kerf::Rtf::Extracted text = Kerf::Rtf::extract(rest, 932);
        if (text.bHtml)
            Kerf::Html::toPlainText(text.text);
        break;
    }
    default:
        Kerf::Html::toPlainText(Kerf::Html::decodeBytes(rest, 1251));
        break;
    }
    return 0;
}
