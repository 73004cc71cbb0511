// The reader on messages of known contents, for what the corpus does not
// hold, and the attachments of messages, attached messages and cut ones.

#include "MsgTestFiles.h"

#include "mail/EmailMetadataMessage.h"
#include "mail/MessageDocument.h"
#include "msgfile/MessageAttachments.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sys/stat.h>

using namespace Kerf;
using namespace Kerf::QuireLib;
using QoMsg::MsgMessage;

TEST(MessageReader, BodiesOfEverySizeArriveWhole) {
    QoTest::MsgFiles files;
    // Past the 4096-byte mini-stream cutoff, and past what GetProps returns.
    for (const std::size_t length : std::vector<std::size_t>{2047, 2048, 5000, 40000, 300000}) {
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

// Only Internet addresses are kept: the SMTP-address properties first, else
// the address whose type is SMTP; an Exchange one ("/O=...") never.
TEST(MessageReader, AddressesAreTheSmtpOnesOfSenderAndEachRecipient) {
    QoTest::MsgFiles files;
    const struct {
        const char* what;
        std::optional<std::wstring> email, type, smtp, representing;
        std::wstring from;
    } senders[] = {
        {"SMTP over Exchange", L"/O=FIRM/CN=ANN", L"EX", L"ann@firm.com", {}, L"ann@firm.com"},
        {"the represented sender's", {}, {}, {}, L"rep@firm.com", L"rep@firm.com"},
        {"an address of SMTP type", L" bob@x.org ", L"smtp", {}, {}, L"bob@x.org"},
        {"an Exchange address alone", L"/O=FIRM/CN=ANN", L"EX", {}, {}, L""},
    };
    for (const auto& sender : senders) {
        MsgMessage message = QoTest::simpleMessage();
        message.senderEmail = sender.email;
        message.senderAddressType = sender.type;
        message.senderSmtpAddress = sender.smtp;
        message.representingSmtpAddress = sender.representing;
        EXPECT_EQ(files.roundTrip(message).GetFromAddress(), sender.from) << sender.what;
    }
    MsgMessage message = QoTest::simpleMessage();
    message.recipients = {{L"Ann", L"/O=FIRM/CN=ANN", 1, L"EX", L"ann@firm.com"},
                          {L"Ben", L"ben@x.org", 2, L"SMTP", {}},
                          {L"Cy", L"/O=FIRM/CN=CY", 3, L"EX", {}},
                          {L"Di", L"di@x.org", 1, L"SMTP", {}}};
    // An attached message's recipients are its own, not this message's.
    auto inner = std::make_shared<MsgMessage>();
    inner->recipients = {{L"Inner", L"inner@x.org", 1, L"SMTP", {}}};
    message.attachments.push_back({5, L"fw.msg", {}, inner});
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
    const struct {
        std::optional<std::uint32_t> codePage, localeId, internetCodePage;
        std::wstring subject;
    } cases[] = {
        {1251, 1033, {}, russian},   // the message's code page before its locale's
        {{}, 1049, 1252, russian},   // the locale's before the internet one
        {{}, 0x0439, 1251, russian}, // Hindi has no ANSI code page
        {{}, {}, {}, L"Caf\x00e9 \x20ac"},
    };
    for (const auto& c : cases) {
        MsgMessage message;
        message.unicode = false;
        message.textCodePage = c.subject == russian ? 1251 : 1252;
        message.codePage = c.codePage;
        message.localeId = c.localeId;
        message.internetCodePage = c.internetCodePage;
        message.subject = c.subject;
        EXPECT_EQ(files.roundTrip(message).GetStringValue(L"Subject"), c.subject);
    }
}

// Read for the index and read whole for showing alike.
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
        SCOPED_TRACE(path);
        const auto check = [&](const auto& read) {
            EXPECT_FALSE(read.MessageRead());
            EXPECT_EQ(read.GetStringValue(L"Location"), Util::fromPath(path));
            // A folder's size is whatever the file system says.
            EXPECT_TRUE(path == folder || read.GetSize() == (path == text ? 35 : 0));
            EXPECT_EQ(read.GetSentDate().m_dt, 0.0);
        };
        check(CMessageDocument(Util::fromPath(path)));
        check(files.read(path));
        EXPECT_EQ(files.read(path).GetKeys(), CMetadata::Keys{L"Location"});
    }
}

// The record's body is the plain-text one, else the HTML or RTF one's text; shown, the HTML body is
// kept as written, from HTML or RTF made from HTML. Text ends at its first NUL.
TEST(MessageReader, BodiesForTheIndexAndForShowing) {
    QoTest::MsgFiles files;
    MsgMessage htmlAlone;
    htmlAlone.html = "<p>from <b>html</b></p>";
    MsgMessage html = QoTest::simpleMessage();
    html.html = "<p>Caf\xE9 <b>bold</b></p>";
    html.internetCodePage = 1252;
    MsgMessage rtfFromHtml = QoTest::simpleMessage();
    rtfFromHtml.body.reset();
    rtfFromHtml.compressedRtf =
        QoMsg::storedRtf("{\\rtf1\\ansi\\ansicpg1252\\fromhtml1 {\\*\\htmltag64 <p>}Caf\\'e9 "
                         "{\\*\\htmltag0 <b>}bold{\\*\\htmltag0 </b>}{\\*\\htmltag72 </p>}}",
                         true);
    MsgMessage plainRtf = QoTest::simpleMessage();
    plainRtf.compressedRtf = QoMsg::storedRtf("{\\rtf1\\ansi Plain {\\b rtf}\\par}", true);
    const std::wstring plain = L"See you on Friday.\r\n", cafe = L"<p>Caf\x00e9 <b>bold</b></p>";
    const struct {
        const char* name;
        MsgMessage message;
        std::wstring body, html;
    } cases[] = {
        {"html alone", htmlAlone, L"from html", L"<p>from <b>html</b></p>"},
        {"html and plain text", html, plain, cafe},
        {"rtf from html", rtfFromHtml, L"Caf\x00e9 bold", cafe},
        {"plain rtf", plainRtf, plain, L""},
        {"plain text", QoTest::simpleMessage(), plain, L""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto path = files.write(std::string(c.name) + ".msg", c.message);
        EXPECT_EQ(files.read(path).GetStringValue(L"Body"), c.body);
        const CMessageDocument document(Util::fromPath(path));
        EXPECT_TRUE(document.MessageRead());
        EXPECT_FALSE(document.Damaged());
        EXPECT_EQ(document.HtmlBody(), c.html);
    }
    MsgMessage nul = QoTest::simpleMessage();
    nul.subject = std::wstring(L"Before\0after", 12);
    EXPECT_EQ(files.roundTrip(nul).GetStringValue(L"Subject"), L"Before");
}

// An attached message counts as non-embedded, an OLE object as embedded;
// the attached message reads like a file of its own, outlives its parent,
// and its values and attachments stay its own, also once saved as a file.
TEST(MessageAttachments, AttachedMessageReadsLikeAFileAndOutlivesItsParent) {
    QoTest::MsgFiles files;
    auto inner = std::make_shared<MsgMessage>(QoTest::simpleMessage());
    inner->subject = L"Inner subject";
    inner->body = L"Inner body";
    inner->submitTime = QoMsg::fileTimeFromUtc(2001, 2, 3, 4, 5, 6);
    inner->attachments.push_back({1, L"inner.txt", {'h', 'i'}, nullptr});
    inner->attachments.push_back({5, L"deeper", {}, std::make_shared<MsgMessage>()});
    MsgMessage outer;
    outer.displayTo = L"Someone";
    outer.attachments.push_back({1, L"data.bin", std::vector<std::uint8_t>(5000, 9), nullptr});
    outer.attachments.push_back({5, L"Inner subject", {}, inner});
    outer.attachments.push_back({6, L"object.xls", {1, 2, 3}, nullptr});
    const auto path = files.write("outer.msg", outer);

    const CEmailMetadata_File counted = files.read(path);
    EXPECT_EQ(counted.GetNonEmbeddedAttachments(), 2);
    EXPECT_EQ(counted.GetEmbeddedAttachments(), 1);
    const CEmailMetadata_File notCounted = files.read(path, false);
    EXPECT_EQ(notCounted.GetNonEmbeddedAttachments() + notCounted.GetEmbeddedAttachments(), 0);
    EXPECT_EQ(notCounted.GetStringValue(L"To"), L"Someone");

    std::string error;
    auto message = CMessageAttachments::openFile(Kerf::Util::fromPath(path), error);
    ASSERT_TRUE(message) << error;
    ASSERT_EQ(message->attachments().size(), 3u);
    EXPECT_FALSE(message->openMessage(2));
    EXPECT_FALSE(message->openMessage(0));

    std::vector<std::uint8_t> data;
    EXPECT_TRUE(message->readData(0, data));
    EXPECT_EQ(data, std::vector<std::uint8_t>(5000, 9));
    EXPECT_FALSE(message->readData(0, data, 4999)) << "longer than the limit";
    EXPECT_FALSE(message->readData(1, data)) << "an attached message has no data";
    EXPECT_FALSE(message->readData(2, data)) << "an OLE object has no data";

    std::vector<std::uint8_t> saved;
    ASSERT_TRUE(message->messageFileBytes(1, saved, error)) << error;
    std::shared_ptr<CMessageAttachments> attached = message->openMessage(1);
    message.reset();
    for (const auto& read : {attached, CMessageAttachments::openBytes(saved, error)}) {
        ASSERT_TRUE(read) << error;
        const CEmailMetadata_Message record(*read);
        EXPECT_EQ(record.GetStringValue(L"Subject"), L"Inner subject");
        EXPECT_EQ(record.GetStringValue(L"Body"), L"Inner body");
        EXPECT_EQ(record.GetSentDate().m_dt, Kerf::Dates::oleDateFromFileTime(*inner->submitTime));
        EXPECT_EQ(record.GetNonEmbeddedAttachments(), 2);
        ASSERT_TRUE(read->readData(0, data));
        EXPECT_EQ(std::string(data.begin(), data.end()), "hi");
        EXPECT_TRUE(read->openMessage(1));
    }
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
