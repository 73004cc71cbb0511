// The saved-message reader's layers, from the compound file up to the
// bodies, on messages the project's own writer makes.

#include "MsgWriter.h"
#include "SampleMessage.h"

#include "msgfile/CompoundStorage.h"
#include "msgfile/CompressedRtf.h"
#include "msgfile/MapiMessage.h"
#include "msgfile/MessageBody.h"
#include "msgfile/PropertyReader.h"

#include <gtest/gtest.h>

using namespace Mapi;
using QoMsg::MsgMessage;

namespace {

struct OpenedMessage {
    std::vector<std::uint8_t> bytes;
    std::shared_ptr<CStorage> storage;
    std::unique_ptr<CMessage> message;
};

OpenedMessage open(const MsgMessage& written) {
    OpenedMessage opened;
    opened.bytes = QoMsg::writeMsgBytes(written);
    std::string error;
    opened.storage = CStorage::openMemory(opened.bytes.data(), opened.bytes.size(), error);
    EXPECT_TRUE(opened.storage) << error;
    if (opened.storage) {
        EXPECT_EQ(CMessage::OpenIMsgOnIStg(opened.storage, opened.message), S_OK);
    }
    return opened;
}

// The body as a record takes it: from the HTML body, else from the RTF one.
std::wstring bodyOf(const MsgMessage& written) {
    const OpenedMessage m = open(written);
    std::wstring body;
    if (m.message && !Kerf::QuireLib::MessageBody::fromHtml(*m.message, body))
        Kerf::QuireLib::MessageBody::fromRtf(*m.message, body);
    return body;
}

} // namespace

TEST(MapiObject, GetPropsReportsMissingAndOversizedValuesAsErrors) {
    MsgMessage written = QoTest::simpleMessage();
    written.body = std::wstring(CMapiObject::kGetPropsLimit, L'x'); // twice the limit in bytes
    written.submitTime = 42;
    OpenedMessage m = open(written);
    ASSERT_TRUE(m.message);

    const ULONG tags[] = {PR_SUBJECT_W, PR_DISPLAY_BCC_W, PR_BODY_W, PR_CLIENT_SUBMIT_TIME,
                          PROP_TAG(PT_LONG, 0x0037)};
    std::vector<SPropValue> values;
    EXPECT_EQ(m.message->GetProps(tags, MAPI_UNICODE, values), MAPI_W_ERRORS_RETURNED);
    ASSERT_EQ(values.size(), 5u);
    EXPECT_EQ(values[0].text, L"RE: Site visit");
    EXPECT_EQ(values[1].ulPropTag, PROP_TAG(PT_ERROR, 0x0E02));
    EXPECT_EQ(values[1].err(), MAPI_E_NOT_FOUND);
    EXPECT_EQ(values[2].err(), MAPI_E_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(values[3].ft(), 42u);
    // A tag whose type does not match the stored property is not found.
    EXPECT_EQ(values[4].err(), MAPI_E_NOT_FOUND);

    // Without MAPI_UNICODE the same text comes back typed as 8-bit text.
    const ULONG subject[] = {PR_SUBJECT_W};
    EXPECT_EQ(m.message->GetProps(subject, 0, values), S_OK);
    EXPECT_EQ(values[0].ulPropTag, PROP_TAG(PT_STRING8, 0x0037));
    EXPECT_EQ(values[0].text, L"RE: Site visit");
}

// Oversized text read as a stream: MessageReader.BodiesOfEverySizeArriveWhole.
TEST(PropertyReader, MissingAndNonTextPropertiesFailAndLeaveTheTextAlone) {
    MsgMessage written = QoTest::simpleMessage();
    written.html = "<p>binary, not text</p>";
    OpenedMessage m = open(written);
    ASSERT_TRUE(m.message);
    std::wstring text = L"unchanged";
    EXPECT_FALSE(PropertyReader::getProperty(*m.message, PR_DISPLAY_BCC_W, text, MAPI_UNICODE));
    EXPECT_EQ(text, L"unchanged");
    // Only text can be read as text: the HTML body is there, as bytes.
    EXPECT_THROW(PropertyReader::getPropertySlow_Throw(*m.message, PR_HTML, text, MAPI_UNICODE),
                 CMapiException);
}

TEST(CompoundStorage, RefusesDamageThePartUnderneathCannotBearItself) {
    const std::vector<std::uint8_t> good = QoMsg::writeMsgBytes(QoTest::simpleMessage());
    const std::uint32_t directorySector = good[0x30] | good[0x31] << 8 | good[0x32] << 16;
    std::string error;
    EXPECT_TRUE(CStorage::openMemory(good.data(), good.size(), error));
    // One directory or header field of the good bytes is wrong.
    const struct {
        const char* what;
        std::size_t offset;
        std::uint32_t value;
        std::string error; // empty: any
    } cases[] = {
        // The parser would lose the sibling's memory.
        {"the root entry with a sibling", 512 + directorySector * 512 + 0x44, 1,
         "the root directory entry has siblings"},
        {"an allocation table far larger than any file", 0x2C, 0x00FFFFFF, ""},
        {"a directory beyond the end of the data", 0x30, 0x00FFFFFF,
         "the directory lies outside the file"},
        {"a sector size the format does not have", 0x1E, 0x00060014, ""},
    };
    for (const auto& c : cases) {
        std::vector<std::uint8_t> bytes = good;
        for (int i = 0; i < 4; ++i)
            bytes[c.offset + i] = static_cast<std::uint8_t>(c.value >> (8 * i));
        error.clear();
        EXPECT_FALSE(CStorage::openMemory(bytes.data(), bytes.size(), error)) << c.what;
        EXPECT_TRUE(c.error.empty() ? !error.empty() : error == c.error) << c.what << ": " << error;
    }
}

TEST(MessageBody, HtmlInItsCharsetAndRtfFromHtmlOrPlainGiveTheirText) {
    const std::wstring russian = L"\x041F\x0440\x0438\x0432\x0435\x0442";
    MsgMessage declared, undeclared, rtfFromHtml, plainRtf;
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
