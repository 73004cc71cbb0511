// The reader on messages of known contents, for what the corpus does not
// hold: large bodies, attachment counts, 8-bit text in each code page, and
// files that are not messages at all.

#include "MsgTestFiles.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <sys/stat.h>

using namespace Kerf;
using namespace Kerf::QuireLib;
using QoMsg::MsgAttachment;
using QoMsg::MsgMessage;

namespace {

TEST(MessageReader, BodiesOfEverySizeArriveWhole) {
    QoTest::MsgFiles files;
    // Past the 4096-byte mini-stream cutoff, and past what GetProps returns.
    for (std::size_t length : {std::size_t{2047}, std::size_t{2048}, std::size_t{5000},
                               std::size_t{40000}, std::size_t{300000}}) {
        MsgMessage message = QoTest::simpleMessage();
        std::wstring body;
        for (std::size_t i = 0; body.size() < length; ++i)
            body += L"line " + std::to_wstring(i) + L" \x00e9\x4e2d\r\n";
        body.resize(length);
        message.body = body;
        message.displayTo = std::wstring(length / 2, L't');
        const CEmailMetadata_File record = files.roundTrip(message);
        EXPECT_EQ(record.GetStringValue(L"Body"), body) << length;
        EXPECT_EQ(record.GetStringValue(L"To").size(), length / 2);
    }
}

TEST(MessageReader, TheBodyComesFromHtmlOrRtfOnlyWithoutAPlainTextOne) {
    QoTest::MsgFiles files;
    MsgMessage message;
    message.html = "<p>from <b>html</b></p>";
    EXPECT_EQ(files.roundTrip(message).GetStringValue(L"Body"), L"from html");
    message.body = L"plain";
    EXPECT_EQ(files.roundTrip(message).GetStringValue(L"Body"), L"plain");
}

TEST(MessageReader, TextEndsAtItsFirstNul) {
    QoTest::MsgFiles files;
    MsgMessage message = QoTest::simpleMessage();
    message.subject = std::wstring(L"Before\0after", 12);
    EXPECT_EQ(files.roundTrip(message).GetStringValue(L"Subject"), L"Before");
}

// An attached message counts as non-embedded, an OLE object as embedded;
// the attached message's own values and attachments stay its own.
TEST(MessageReader, AttachmentsOfTheMessageItselfAreCountedByMethod) {
    QoTest::MsgFiles files;
    auto inner = std::make_shared<MsgMessage>();
    inner->subject = L"Inner subject";
    inner->senderName = L"Inner Sender";
    inner->body = L"Inner body";
    inner->submitTime = QoMsg::fileTimeFromUtc(2001, 2, 3, 4, 5, 6);
    inner->attachments.push_back({6, L"inner.doc", {9, 9}, nullptr});
    MsgMessage outer;
    outer.displayTo = L"Someone";
    outer.attachments.push_back({1, L"plan.pdf", std::vector<std::uint8_t>(6000, 7), nullptr});
    outer.attachments.push_back({1, L"notes.txt", {1, 2, 3}, nullptr});
    outer.attachments.push_back({6, L"sheet.xls", std::vector<std::uint8_t>(100, 1), nullptr});
    outer.attachments.push_back({5, L"forwarded.msg", {}, inner});
    const auto path = files.write("attachments.msg", outer);

    const CEmailMetadata_File counted = files.read(path);
    EXPECT_EQ(counted.GetNonEmbeddedAttachments(), 3);
    EXPECT_EQ(counted.GetEmbeddedAttachments(), 1);
    EXPECT_EQ(counted.GetKeys(), (CMetadata::Keys{L"Location", L"To"}));
    EXPECT_EQ(counted.GetSentDate().m_dt, 0.0);

    const CEmailMetadata_File notCounted = files.read(path, false);
    EXPECT_EQ(notCounted.GetNonEmbeddedAttachments(), 0);
    EXPECT_EQ(notCounted.GetEmbeddedAttachments(), 0);
    EXPECT_EQ(notCounted.GetStringValue(L"To"), L"Someone");
}

// Only Internet addresses are kept: the SMTP-address properties first, else
// the address whose type is SMTP; an Exchange one ("/O=...") never.
TEST(MessageReader, AddressesAreTheSmtpOnesOfSenderAndEachRecipient) {
    QoTest::MsgFiles files;
    const struct {
        const char* what;
        std::function<void(MsgMessage&)> set;
        std::wstring from;
    } senders[] = {
        {"the sender's SMTP address over an Exchange one",
         [](MsgMessage& m) {
             m.senderEmail = L"/O=FIRM/OU=ADMIN/CN=ANN";
             m.senderAddressType = L"EX";
             m.senderSmtpAddress = L"ann@firm.com";
         },
         L"ann@firm.com"},
        {"the represented sender's",
         [](MsgMessage& m) { m.representingSmtpAddress = L"rep@firm.com"; }, L"rep@firm.com"},
        {"an address of SMTP type",
         [](MsgMessage& m) {
             m.senderEmail = L" bob@x.org ";
             m.senderAddressType = L"smtp";
         },
         L"bob@x.org"},
        {"an Exchange address alone",
         [](MsgMessage& m) {
             m.senderEmail = L"/O=FIRM/OU=ADMIN/CN=ANN";
             m.senderAddressType = L"EX";
         },
         L""},
    };
    for (const auto& sender : senders) {
        MsgMessage message = QoTest::simpleMessage();
        sender.set(message);
        EXPECT_EQ(files.roundTrip(message).GetFromAddress(), sender.from) << sender.what;
    }
    MsgMessage message = QoTest::simpleMessage();
    message.recipients = {{L"Ann", L"/O=FIRM/CN=ANN", 1, L"EX", L"ann@firm.com"},
                          {L"Ben", L"ben@x.org", 2, L"SMTP", {}},
                          {L"Cy", L"/O=FIRM/CN=CY", 3, L"EX", {}},
                          {L"Di", L"di@x.org", 1, L"SMTP", {}}};
    const CEmailMetadata_File record = files.roundTrip(message);
    EXPECT_EQ(record.GetRecipients(RecipientKind::To),
              (std::vector<MailRecipient>{{L"Ann", L"ann@firm.com"}, {L"Di", L"di@x.org"}}));
    EXPECT_EQ(record.GetRecipients(RecipientKind::Cc),
              (std::vector<MailRecipient>{{L"Ben", L"ben@x.org"}}));
    EXPECT_EQ(record.GetRecipients(RecipientKind::Bcc), (std::vector<MailRecipient>{{L"Cy", L""}}));
}

TEST(MessageReader, EightBitTextIsReadInTheCodePageTheMessageNames) {
    QoTest::MsgFiles files;
    const std::wstring russian = L"\x041F\x0440\x0438\x0432\x0435\x0442";
    MsgMessage message;
    message.unicode = false;
    message.textCodePage = 1251;
    message.subject = russian;

    MsgMessage byCodePage = message;
    byCodePage.codePage = 1251;
    byCodePage.localeId = 1033; // English: the message's code page comes first
    EXPECT_EQ(files.roundTrip(byCodePage).GetStringValue(L"Subject"), russian);

    MsgMessage byLocale = message;
    byLocale.localeId = 1049;
    byLocale.internetCodePage = 1252;
    EXPECT_EQ(files.roundTrip(byLocale).GetStringValue(L"Subject"), russian);

    MsgMessage byInternetCodePage = message;
    byInternetCodePage.localeId = 0x0439; // Hindi has no ANSI code page
    byInternetCodePage.internetCodePage = 1251;
    EXPECT_EQ(files.roundTrip(byInternetCodePage).GetStringValue(L"Subject"), russian);

    MsgMessage byDefault;
    byDefault.unicode = false;
    byDefault.subject = L"Caf\x00e9 \x20ac";
    EXPECT_EQ(files.roundTrip(byDefault).GetStringValue(L"Subject"), L"Caf\x00e9 \x20ac");
}

TEST(MessageReader, EmptyMissingAndForeignFilesGiveLocationAndSize) {
    QoTest::MsgFiles files;
    const auto empty = files.folder() / "empty.msg";
    std::ofstream(empty).close();
    const auto text = files.folder() / "text.msg";
    std::ofstream(text) << "This is not a compound file at all.";
    const auto missing = files.folder() / "missing.msg";
    const auto folder = files.folder() / "folder.msg";
    std::filesystem::create_directory(folder);
    const auto fifo = files.folder() / "fifo.msg";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);

    for (const auto& path : {empty, text, missing, folder, fifo}) {
        const CEmailMetadata_File record = files.read(path);
        EXPECT_EQ(record.GetKeys(), CMetadata::Keys{L"Location"}) << path;
        EXPECT_FALSE(record.MessageRead());
        EXPECT_EQ(record.GetStringValue(L"Location"), Util::fromPath(path));
        EXPECT_EQ(record.GetSentDate().m_dt, 0.0);
    }
    EXPECT_EQ(files.read(empty).GetSize(), 0);
    EXPECT_EQ(files.read(missing).GetSize(), 0);
    EXPECT_EQ(files.read(text).GetSize(), 35);
}

TEST(MessageReader, TruncatedMessagesNeverFailOrPrint) {
    QoTest::MsgFiles files;
    MsgMessage message = QoTest::simpleMessage();
    message.body = std::wstring(20000, L'b');
    message.attachments.push_back({1, L"a.bin", std::vector<std::uint8_t>(9000, 1), nullptr});
    const std::vector<std::uint8_t> bytes = QoMsg::writeMsgBytes(message);

    testing::internal::CaptureStderr();
    for (std::size_t length = 0; length < bytes.size(); length += 512 + length / 3) {
        const auto path = files.folder() / ("cut" + std::to_string(length) + ".msg");
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<long>(length));
        const CEmailMetadata_File record = files.read(path);
        EXPECT_EQ(record.GetSize(), static_cast<std::int32_t>(length));
        EXPECT_TRUE(record.HasValue(L"Location"));
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
