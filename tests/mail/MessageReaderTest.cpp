// The reader on messages of known contents, for what the corpus does not
// hold: large bodies, HTML and RTF bodies, addresses, 8-bit text in each code
// page, and files that are not messages at all.

#include "MsgTestFiles.h"

#include "mail/MessageDocument.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sys/stat.h>

using namespace Kerf;
using namespace Kerf::QuireLib;
using QoMsg::MsgMessage;

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

// The body comes from the HTML one only without a plain-text one; text ends
// at its first NUL.
TEST(MessageReader, TheRecordTakesTheTextMeantForIt) {
    QoTest::MsgFiles files;
    MsgMessage html;
    html.html = "<p>from <b>html</b></p>";
    MsgMessage both = html;
    both.body = L"plain";
    MsgMessage nul = QoTest::simpleMessage();
    nul.subject = std::wstring(L"Before\0after", 12);
    const struct {
        MsgMessage message;
        const wchar_t* key;
        std::wstring text;
    } cases[] = {
        {html, L"Body", L"from html"}, {both, L"Body", L"plain"}, {nul, L"Subject", L"Before"}};
    for (const auto& c : cases)
        EXPECT_EQ(files.roundTrip(c.message).GetStringValue(c.key), c.text);
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

// Read whole for showing, the HTML body is kept as written.
TEST(MessageDocument, HtmlBodyAsWrittenFromHtmlElseFromRtfMadeFromHtml) {
    QoTest::MsgFiles files;
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
    const struct {
        const char* name;
        MsgMessage message;
        std::wstring html;
    } cases[] = {
        {"html", html, L"<p>Caf\x00e9 <b>bold</b></p>"},
        {"rtf from html", rtfFromHtml, L"<p>Caf\x00e9 <b>bold</b></p>"},
        {"plain rtf", plainRtf, L""},
        {"plain text", QoTest::simpleMessage(), L""},
    };
    for (const auto& c : cases) {
        const CMessageDocument document(
            Util::fromPath(files.write(std::string(c.name) + ".msg", c.message)));
        EXPECT_TRUE(document.MessageRead()) << c.name;
        EXPECT_FALSE(document.Damaged()) << c.name;
        EXPECT_EQ(document.HtmlBody(), c.html) << c.name;
        EXPECT_EQ(document.GetStringValue(L"Subject"), L"RE: Site visit") << c.name;
    }
}
