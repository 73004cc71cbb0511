// Bodies of messages without a plain-text body: from the HTML body in its
// declared charset else the internet code page, from compressed RTF made
// from HTML, and from plain RTF; and the compressed RTF itself.

#include "MsgWriter.h"

#include "msgfile/CompoundStorage.h"
#include "msgfile/CompressedRtf.h"
#include "msgfile/MapiMessage.h"
#include "msgfile/MessageBody.h"

#include <gtest/gtest.h>

using namespace Kerf::QuireLib;

namespace {

// The body as a record takes it: from the HTML body, else from the RTF one.
std::wstring bodyOf(const QoMsg::MsgMessage& written) {
    const std::vector<std::uint8_t> bytes = QoMsg::writeMsgBytes(written);
    std::string error;
    std::unique_ptr<Mapi::CMessage> message;
    auto storage = Mapi::CStorage::openMemory(bytes.data(), bytes.size(), error);
    EXPECT_TRUE(storage && Mapi::CMessage::OpenIMsgOnIStg(storage, message) == Mapi::S_OK) << error;
    std::wstring body;
    if (message && !MessageBody::fromHtml(*message, body))
        MessageBody::fromRtf(*message, body);
    return body;
}

TEST(MessageBody, HtmlInItsCharsetAndRtfFromHtmlOrPlainGiveTheirText) {
    const std::wstring russian = L"\x041F\x0440\x0438\x0432\x0435\x0442";
    QoMsg::MsgMessage declared, undeclared, rtfFromHtml, plainRtf;
    declared.html = "<html><head><meta http-equiv=Content-Type content=\"text/html; "
                    "charset=windows-1251\"></head><body><p>\xCF\xF0\xE8\xE2\xE5\xF2</p></body>";
    declared.internetCodePage = 1252;
    EXPECT_EQ(bodyOf(declared), russian);
    undeclared.html = "<p>\xCF\xF0\xE8\xE2\xE5\xF2</p>";
    undeclared.internetCodePage = 1251;
    EXPECT_EQ(bodyOf(undeclared), russian);

    rtfFromHtml.compressedRtf = QoMsg::storedRtf(
        "{\\rtf1\\ansi\\ansicpg1252\\fromhtml1 \\deff0{\\fonttbl{\\f0\\fswiss Arial;}}"
        "{\\*\\htmltag19 <html>}{\\*\\htmltag34 <head>}{\\*\\htmltag1 <style>p{}</style>}"
        "{\\*\\htmltag41 </head>}{\\*\\htmltag50 <body>}\\htmlrtf {\\htmlrtf0 "
        "{\\*\\htmltag64 <p>}Caf\\'e9 au lait \\u8364?\\htmlrtf\\par\\htmlrtf0"
        "{\\*\\htmltag72 </p>}{\\*\\htmltag64 <p>}Second &amp; last{\\*\\htmltag72 </p>}"
        "\\htmlrtf }\\htmlrtf0 {\\*\\htmltag58 </body>}{\\*\\htmltag27 </html>}}",
        true);
    EXPECT_EQ(bodyOf(rtfFromHtml), L"Caf\x00e9 au lait \x20ac\r\nSecond & last");
    plainRtf.compressedRtf = QoMsg::storedRtf(
        "{\\rtf1\\ansi\\ansicpg1251\\deff0{\\fonttbl{\\f0\\fnil\\fcharset204 Arial;}"
        "{\\f1\\fnil\\fcharset128 MS Gothic;}}{\\colortbl;\\red0\\green0\\blue0;}"
        "{\\*\\generator Writer;}\\pard\\f0\\'cf\\'f0\\'e8\\'e2\\'e5\\'f2\\par "
        "{\\f1 \\'93\\'fa}\\tab x\\uc1\\u-10179?\\u-8704?\\par}",
        false);
    EXPECT_EQ(bodyOf(plainRtf), russian + L"\r\n\x65e5\tx\x1F600\r\n");
}

TEST(CompressedRtf, LiteralRunsAndTheEndMarker) {
    for (const std::string rtf : {"", "{\\rtf1}", "{\\rtf1 exactly16 bytes}", "{\\rtf1 x}"}) {
        const std::vector<std::uint8_t> stored = QoMsg::storedRtf(rtf, true);
        EXPECT_EQ(Kerf::Rtf::decompress(stored.data(), stored.size()), rtf);
    }
    // A header claiming a vast raw size yields only what the data holds.
    std::vector<std::uint8_t> lying = QoMsg::storedRtf("{\\rtf1 small}", true);
    lying[4] = lying[5] = lying[6] = lying[7] = 0xFF;
    EXPECT_EQ(Kerf::Rtf::decompress(lying.data(), lying.size()), "{\\rtf1 small}");
    const std::uint8_t unknown[16] = {12, 0, 0, 0, 5, 0, 0, 0, 'A', 'B', 'C', 'D'};
    EXPECT_FALSE(Kerf::Rtf::decompress(unknown, sizeof unknown).has_value());
}

} // namespace
