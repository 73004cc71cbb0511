#include "CorpusExpectations.h"
#include "MsgTestFiles.h"
#include "SharedFiles.h"

#include "mail/EmailMetadataFile.h"
#include "mail/EmailMetadataMessage.h"
#include "msgfile/MessageAttachments.h"

#include <gtest/gtest.h>

#include <fstream>

using Kerf::QuireLib::CEmailMetadata_File;
using Kerf::QuireLib::CEmailMetadata_Message;
using Kerf::QuireLib::CMessageAttachments;
using QoMsg::MsgMessage;

namespace {

// Names of every attachment, those of attached messages indented below them.
std::string outline(const CMessageAttachments& message, const std::string& indent = "") {
    std::string text;
    for (std::size_t i = 0; i < message.attachments().size(); ++i) {
        text += indent + Kerf::Util::toNarrow(message.attachments()[i].name) + "\n";
        if (auto inner = message.openMessage(i))
            text += outline(*inner, indent + "  ");
    }
    return text;
}

std::shared_ptr<CMessageAttachments> openCorpusFile(const std::string& name) {
    std::string error;
    auto message = CMessageAttachments::openFile(
        Kerf::Util::fromPath(QoTest::corpusDirectory() / "msg" / name), error);
    EXPECT_TRUE(message) << name << ": " << error;
    return message;
}

} // namespace

QO_TESTS_READ_SHARED(Corpus,
                     "MessageAttachments.CorpusMessagesListTheirAttachmentsInOrderAndNested");

TEST(MessageAttachments, CorpusMessagesListTheirAttachmentsInOrderAndNested) {
    const struct {
        const char* file;
        const char* outline;
    } cases[] = {
        {"mr_attachmentsOrder.msg", "A.docx\nB.docx\nC.docx\nD.docx\n"},
        {"mr_Outer mail.msg",
         "OUTER 1.pdf\nOUTER 2.pdf\nInner mail\n  INNER 1.pdf\n  INNER 2.pdf\n"},
        {"mr_msgInMsgInMsg.msg", "I have attachments!\n  Microsoft Outlook テスト メッセージ\n"
                                 "  green.png\nblue.png\n"},
        {"mr_attachmentFiles.msg", "jpg.jpg\npng.png\ntif.tif\n"},
    };
    for (const auto& c : cases) {
        auto message = openCorpusFile(c.file);
        ASSERT_TRUE(message);
        EXPECT_EQ(outline(*message), c.outline) << c.file;
    }
    auto files = openCorpusFile("mr_attachmentFiles.msg");
    EXPECT_EQ(files->attachments()[1].mimeType, L"image/png");
    EXPECT_EQ(files->attachments()[1].size, 134u);
    std::vector<std::uint8_t> png;
    ASSERT_TRUE(files->readData(1, png));
    ASSERT_EQ(png.size(), 134u);
    EXPECT_EQ(std::string(png.begin() + 1, png.begin() + 4), "PNG");
}

// An attached message counts as non-embedded, an OLE object as embedded;
// the attached message reads like a file of its own, outlives its parent,
// and its values and attachments stay its own.
TEST(MessageAttachments, AttachedMessageReadsLikeAFileAndOutlivesItsParent) {
    QoTest::MsgFiles files;
    auto inner = std::make_shared<MsgMessage>(QoTest::simpleMessage());
    inner->subject = L"Inner subject";
    inner->body = L"Inner body";
    inner->submitTime = QoMsg::fileTimeFromUtc(2001, 2, 3, 4, 5, 6);
    inner->attachments.push_back({1, L"inner.txt", {'h', 'i'}, nullptr});
    MsgMessage outer;
    outer.displayTo = L"Someone";
    outer.attachments.push_back({1, L"data.bin", std::vector<std::uint8_t>(5000, 9), nullptr});
    outer.attachments.push_back({5, L"Inner subject", {}, inner});
    outer.attachments.push_back({6, L"object.xls", {1, 2, 3}, nullptr});
    const auto path = files.write("outer.msg", outer);

    const CEmailMetadata_File counted = files.read(path);
    EXPECT_EQ(counted.GetNonEmbeddedAttachments(), 2);
    EXPECT_EQ(counted.GetEmbeddedAttachments(), 1);
    EXPECT_EQ(counted.GetKeys(), (Kerf::QuireLib::CMetadata::Keys{L"Location", L"To"}));
    EXPECT_EQ(counted.GetSentDate().m_dt, 0.0);
    const CEmailMetadata_File notCounted = files.read(path, false);
    EXPECT_EQ(notCounted.GetNonEmbeddedAttachments() + notCounted.GetEmbeddedAttachments(), 0);
    EXPECT_EQ(notCounted.GetStringValue(L"To"), L"Someone");

    std::string error;
    auto message = CMessageAttachments::openFile(Kerf::Util::fromPath(path), error);
    ASSERT_TRUE(message) << error;
    ASSERT_EQ(message->attachments().size(), 3u);
    EXPECT_EQ(message->attachments()[0].size, 5000u);
    EXPECT_EQ(message->attachments()[2].method, 6);
    EXPECT_FALSE(message->attachments()[2].isMessage);
    EXPECT_FALSE(message->openMessage(2));
    EXPECT_FALSE(message->openMessage(0));

    std::vector<std::uint8_t> data;
    EXPECT_TRUE(message->readData(0, data));
    EXPECT_EQ(data, std::vector<std::uint8_t>(5000, 9));
    EXPECT_FALSE(message->readData(0, data, 4999)) << "longer than the limit";
    EXPECT_FALSE(message->readData(1, data)) << "an attached message has no data";
    EXPECT_FALSE(message->readData(2, data)) << "an OLE object has no data";

    std::shared_ptr<CMessageAttachments> attached = message->openMessage(1);
    message.reset();
    ASSERT_TRUE(attached);
    EXPECT_EQ(attached->depth(), 1);
    const CEmailMetadata_Message record(*attached);
    EXPECT_EQ(record.GetStringValue(L"Subject"), L"Inner subject");
    EXPECT_EQ(record.GetStringValue(L"From"), L"Anna Meyer");
    EXPECT_EQ(record.GetStringValue(L"To"), L"Ben Clarke; Clara Dubois");
    EXPECT_EQ(record.GetStringValue(L"Body"), L"Inner body");
    EXPECT_EQ(record.GetSentDate().m_dt, Kerf::Dates::oleDateFromFileTime(*inner->submitTime));
    EXPECT_EQ(record.GetNonEmbeddedAttachments(), 1);
    ASSERT_TRUE(attached->readData(0, data));
    EXPECT_EQ(std::string(data.begin(), data.end()), "hi");
}

TEST(MessageAttachments, AttachedMessagesOpenDownToTheThirdLevelOnly) {
    auto level = std::make_shared<MsgMessage>();
    level->subject = L"level 4";
    for (int depth = 3; depth >= 0; --depth) {
        auto outer = std::make_shared<MsgMessage>();
        outer->subject = L"level " + std::to_wstring(depth);
        outer->attachments.push_back({5, L"attached", {}, level});
        level = outer;
    }
    std::string error;
    auto message = CMessageAttachments::openBytes(QoMsg::writeMsgBytes(*level), error);
    ASSERT_TRUE(message) << error;
    for (int depth = 1; depth <= 3; ++depth) {
        message = message->openMessage(0);
        ASSERT_TRUE(message) << depth;
        EXPECT_EQ(CEmailMetadata_Message(*message).GetStringValue(L"Subject"),
                  L"level " + std::to_wstring(depth));
    }
    EXPECT_TRUE(message->attachments()[0].isMessage);
    EXPECT_FALSE(message->openMessage(0));
}

// Every length of a message cut short: the record keeps its place and size,
// and the attachments give what can be read, without a word on the terminal.
TEST(MessageAttachments, TruncatedMessagesNeverFailOrPrintAndGiveWhatCanBeRead) {
    QoTest::MsgFiles files;
    auto inner = std::make_shared<MsgMessage>(QoTest::simpleMessage());
    inner->attachments.push_back({1, L"deep.txt", std::vector<std::uint8_t>(3000, 'x'), nullptr});
    MsgMessage outer = QoTest::simpleMessage();
    outer.body = std::wstring(20000, L'b');
    outer.attachments.push_back({5, L"inner", {}, inner});
    outer.attachments.push_back({1, L"a.bin", std::vector<std::uint8_t>(9000, 1), nullptr});
    const std::vector<std::uint8_t> bytes = QoMsg::writeMsgBytes(outer);
    std::size_t dataRead = 0;
    testing::internal::CaptureStderr();
    for (std::size_t step = 0; step < bytes.size() + 509; step += 509) {
        const std::size_t length = std::min(step, bytes.size()); // the whole file last
        const auto path = files.folder() / ("cut" + std::to_string(length) + ".msg");
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<long>(length));
        const CEmailMetadata_File record = files.read(path);
        EXPECT_EQ(record.GetSize(), static_cast<std::int32_t>(length));
        EXPECT_TRUE(record.HasValue(L"Location"));
        std::string error;
        auto message = CMessageAttachments::openBytes({bytes.data(), length}, error);
        std::vector<std::uint8_t> data;
        for (std::size_t i = 0; message && i < message->attachments().size(); ++i) {
            dataRead += message->readData(i, data) ? data.size() : 0;
            if (auto attached = message->openMessage(i))
                CEmailMetadata_Message{*attached};
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_GE(dataRead, 9000u) << "the whole file was read";
}
