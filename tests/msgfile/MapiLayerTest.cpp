// The MAPI property layer and the compound-file layer under it: what GetProps
// returns for missing and oversized values, the error texts the helpers
// throw, the recipient table, and compound files damaged in ways the parser
// underneath must never see.

#include "MsgWriter.h"
#include "SampleMessage.h"

#include "msgfile/CompoundStorage.h"
#include "msgfile/MapiMessage.h"
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
    EXPECT_EQ(values[0].ulPropTag, PR_SUBJECT_W);
    EXPECT_EQ(values[0].text, L"RE: Site visit");
    EXPECT_EQ(values[1].ulPropTag, PROP_TAG(PT_ERROR, 0x0E02));
    EXPECT_EQ(values[1].err(), MAPI_E_NOT_FOUND);
    EXPECT_EQ(values[2].err(), MAPI_E_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(values[3].ulPropTag, PR_CLIENT_SUBMIT_TIME);
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
TEST(PropertyReader, FailuresCarryTheirContext) {
    MsgMessage written = QoTest::simpleMessage();
    written.html = "<p>binary, not text</p>";
    OpenedMessage m = open(written);
    ASSERT_TRUE(m.message);
    std::wstring text;
    try {
        PropertyReader::getProperty_Throw(*m.message, PR_DISPLAY_BCC_W, text, MAPI_UNICODE);
        FAIL() << "a missing property must throw";
    } catch (const CMapiException& e) {
        EXPECT_EQ(e.code(), MAPI_E_NOT_FOUND);
        EXPECT_NE(e.getMessage().find(L"Context: GetProps"), std::wstring::npos);
    }
    text = L"unchanged";
    EXPECT_FALSE(PropertyReader::getProperty(*m.message, PR_DISPLAY_BCC_W, text, MAPI_UNICODE));
    EXPECT_EQ(text, L"unchanged");
    // Only text can be read as text: the HTML body is there, as bytes.
    EXPECT_THROW(PropertyReader::getPropertySlow_Throw(*m.message, PR_HTML, text, MAPI_UNICODE),
                 CMapiException);
}

TEST(MapiMessage, RecipientTableListsThisMessagesOwnRecipients) {
    MsgMessage written = QoTest::simpleMessage();
    written.recipients = {{L"Ben Clarke", L"ben@example.com", 1, L"SMTP", {}},
                          {L"Clara Dubois", L"clara@example.com", 2, L"SMTP", {}},
                          {L"Dora Evans", L"dora@example.com", 3, L"SMTP", {}}};
    auto inner = std::make_shared<MsgMessage>();
    inner->recipients = {{L"Inner Person", L"inner@example.com", 1, L"SMTP", {}}};
    written.attachments.push_back({5, L"fw.msg", {}, inner, {}});
    OpenedMessage m = open(written);
    ASSERT_TRUE(m.message);

    std::unique_ptr<CTable> recipients;
    ASSERT_EQ(m.message->GetRecipientTable(recipients), S_OK);
    const ULONG columns[] = {PR_DISPLAY_NAME_W, PR_RECIPIENT_TYPE};
    recipients->SetColumns(columns);
    std::vector<std::vector<SPropValue>> rows;
    ASSERT_EQ(recipients->QueryRows(rows), S_OK);
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0][0].text, L"Ben Clarke");
    EXPECT_EQ(rows[1][1].l(), 2);
    EXPECT_EQ(rows[2][0].text, L"Dora Evans");
}

// Bytes of a written message patched so that one directory or header field
// is wrong.
std::vector<std::uint8_t> patched(std::size_t offset, std::uint32_t value) {
    std::vector<std::uint8_t> bytes = QoMsg::writeMsgBytes(QoTest::simpleMessage());
    for (int i = 0; i < 4; ++i)
        bytes[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
    return bytes;
}

TEST(CompoundStorage, RefusesDamageThePartUnderneathCannotBearItself) {
    const std::vector<std::uint8_t> good = QoMsg::writeMsgBytes(QoTest::simpleMessage());
    const std::uint32_t directorySector = good[0x30] | good[0x31] << 8 | good[0x32] << 16;
    const std::size_t rootEntry = 512 + directorySector * 512;
    std::string error;
    EXPECT_TRUE(CStorage::openMemory(good.data(), good.size(), error));

    // The root entry with a sibling (the parser would lose the sibling's memory).
    const auto sibling = patched(rootEntry + 0x44, 1);
    EXPECT_FALSE(CStorage::openMemory(sibling.data(), sibling.size(), error));
    EXPECT_EQ(error, "the root directory entry has siblings");
    // An allocation table claimed far larger than any file.
    const auto hugeTable = patched(0x2C, 0x00FFFFFF);
    EXPECT_FALSE(CStorage::openMemory(hugeTable.data(), hugeTable.size(), error));
    // A directory beyond the end of the data.
    const auto farDirectory = patched(0x30, 0x00FFFFFF);
    EXPECT_FALSE(CStorage::openMemory(farDirectory.data(), farDirectory.size(), error));
    EXPECT_EQ(error, "the directory lies outside the file");
    // A sector size the format does not have.
    auto oddSectors = good;
    oddSectors[0x1E] = 20;
    EXPECT_FALSE(CStorage::openMemory(oddSectors.data(), oddSectors.size(), error));
}

} // namespace
