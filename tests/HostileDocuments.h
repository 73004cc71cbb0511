#pragma once
// Documents that readers must survive: a PDF whose page tree holds itself,
// and a .docx whose one part inflates to 20 MB from a few kilobytes.

#include "DocumentWriter.h"

#include <cstdint>
#include <string>
#include <vector>

namespace QoTest {

inline std::vector<std::uint8_t> bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

inline const std::string kLoopingPdf =
    "%PDF-1.4\n1 0 obj <</Type/Catalog/Pages 2 0 R>> endobj\n"
    "2 0 obj <</Type/Pages/Kids[2 0 R 3 0 R]/Count 2>> endobj\n"
    "3 0 obj <</Type/Page/Parent 2 0 R/Contents 4 0 R>> endobj\n"
    "4 0 obj <</Length 44>> stream\nBT /F1 12 Tf 10 10 Td (loopword) Tj ET\nendstream endobj\n"
    "trailer <</Root 1 0 R/Size 5>>\n%%EOF\n";

inline std::vector<std::uint8_t> zipBomb() {
    std::string text;
    for (int i = 0; i < 20; ++i)
        text += "<w:t>" + std::string(1024 * 1024, 'a') + "</w:t>";
    return QoMsg::zipArchive({{"[Content_Types].xml", "<Types/>"},
                              {"word/document.xml", "<w:document xmlns:w=\"w\"><w:p><w:r>" + text +
                                                        "</w:r></w:p></w:document>"}});
}

} // namespace QoTest
