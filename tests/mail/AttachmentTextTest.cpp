#include "DocumentWriter.h"
#include "FilingFolder.h"
#include "MsgTestFiles.h"
#include "WidgetTestEnvironment.h"

#include "mail/AttachmentText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwctype>
#include <set>

using namespace Kerf::QuireLib;
using DocumentText::Kind;
using QoMsg::MsgMessage;

namespace {

// The PDF writer needs a GUI application.
const auto* const g_environment =
    ::testing::AddGlobalTestEnvironment(new QoTest::WidgetTestEnvironment("attachment_text_tests"));

std::vector<std::uint8_t> bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

std::string narrow(const std::wstring& text) {
    return Kerf::Util::toNarrow(text);
}

// A PDF whose page tree holds itself among its own pages.
const std::string kLoopingPdf =
    "%PDF-1.4\n1 0 obj <</Type/Catalog/Pages 2 0 R>> endobj\n"
    "2 0 obj <</Type/Pages/Kids[2 0 R 3 0 R]/Count 2>> endobj\n"
    "3 0 obj <</Type/Page/Parent 2 0 R/Contents 4 0 R>> endobj\n"
    "4 0 obj <</Length 44>> stream\nBT /F1 12 Tf 10 10 Td (loopword) Tj ET\nendstream endobj\n"
    "trailer <</Root 1 0 R/Size 5>>\n%%EOF\n";

// A .docx whose document part inflates to 20 MB from a few kilobytes.
std::vector<std::uint8_t> zipBomb() {
    std::string text;
    for (int i = 0; i < 20; ++i)
        text += "<w:t>" + std::string(1024 * 1024, 'a') + "</w:t>";
    return QoMsg::zipArchive({{"[Content_Types].xml", "<Types/>"},
                              {"word/document.xml", "<w:document xmlns:w=\"w\"><w:p><w:r>" + text +
                                                        "</w:r></w:p></w:document>"}});
}

std::string slide(const std::string& text) {
    return "<p:sld xmlns:p=\"p\" xmlns:a=\"a\"><a:p><a:r><a:t>" + text +
           "</a:t></a:r></a:p></p:sld>";
}

// No letter or digit: what is left of a document that gave no text.
bool hasWords(const std::wstring& text) {
    return std::any_of(text.begin(), text.end(), [](wchar_t c) { return std::iswalnum(c); });
}

TEST(DocumentText, KindFollowsTheExtensionElseTheMimeType) {
    const struct {
        const wchar_t* name;
        const wchar_t* mime;
        Kind kind;
    } cases[] = {
        {L"Report.PDF", L"", Kind::Pdf},
        {L"a.docx", L"application/pdf", Kind::OfficeOpenXml},
        {L"b.xlsx", L"", Kind::OfficeOpenXml},
        {L"c.ods", L"", Kind::OpenDocument},
        {L"list.csv", L"", Kind::Plain},
        {L"page.htm", L"", Kind::Html},
        {L"letter.rtf", L"", Kind::Rtf},
        {L"no extension", L"Text/Plain", Kind::Plain},
        {L"picture.png", L"image/png", Kind::None},
        {L"archive.tar.gz", L"", Kind::None},
    };
    for (const auto& c : cases)
        EXPECT_EQ(DocumentText::kindOf(c.name, c.mime), c.kind) << narrow(c.name);
}

TEST(DocumentText, CommonDocumentsGiveTheirTextInOrder) {
    const DocumentText::Limits limits;
    const struct {
        const char* what;
        Kind kind;
        std::vector<std::uint8_t> bytes;
        int codePage;
        std::vector<std::string> inOrder;
    } cases[] = {
        {"pdf",
         Kind::Pdf,
         QoMsg::pdfDocument({"page one quokka", "page two bilby"}),
         1252,
         {"quokka", "bilby"}},
        {"docx",
         Kind::OfficeOpenXml,
         QoMsg::docxDocument({"hello wombat", "next", "end"}),
         1252,
         {"hello wombat next end"}},
        {"odt",
         Kind::OpenDocument,
         QoMsg::odtDocument({"hello numbat", "next"}),
         1252,
         {"hello numbat next"}},
        {"xlsx",
         Kind::OfficeOpenXml,
         QoMsg::zipArchive(
             {{"xl/sharedStrings.xml", "<sst><si><t>shared</t></si><si><t>cell</t></si></sst>"},
              {"xl/worksheets/sheet1.xml",
               "<worksheet><c t=\"inlineStr\"><is><t>inline</t></is></c></worksheet>"}}),
         1252,
         {"shared cell", "inline"}},
        {"pptx slides by number",
         Kind::OfficeOpenXml,
         QoMsg::zipArchive({{"ppt/slides/slide10.xml", slide("tenth")},
                            {"ppt/slides/slide2.xml", slide("second")},
                            {"ppt/slides/slide1.xml", slide("fir</a:t><a:t>st")}}),
         1252,
         {"first", "second", "tenth"}},
        {"code page text", Kind::Plain, bytesOf("caf\xE9 cr\xE8me"), 1252, {"café crème"}},
        {"UTF-8 text", Kind::Plain, bytesOf("caf\xC3\xA9;cr\xC3\xA8me"), 1251, {"café;crème"}},
        {"UTF-16 text", Kind::Plain, bytesOf(std::string("\xFF\xFEh\0i\0", 6)), 1252, {"hi"}},
        {"html",
         Kind::Html,
         bytesOf("<html><body><p>quoll <b>dingo</b></p></body></html>"),
         1252,
         {"quoll dingo"}},
        {"rtf",
         Kind::Rtf,
         bytesOf("{\\rtf1\\ansi\\ansicpg1252 {\\b echidna} caf\\'e9}"),
         1252,
         {"echidna", "café"}},
    };
    for (const auto& c : cases) {
        const std::string text = narrow(DocumentText::extract(c.kind, c.bytes, c.codePage, limits));
        std::size_t at = 0;
        for (const std::string& part : c.inOrder) {
            const std::size_t found = text.find(part, at);
            EXPECT_NE(found, std::string::npos) << c.what << ": \"" << part << "\" in\n" << text;
            at = found == std::string::npos ? at : found + part.size();
        }
    }
}

TEST(DocumentText, DamagedAndHostileDocumentsGiveNoText) {
    const std::vector<std::uint8_t> pdf = QoMsg::pdfDocument({"page one quokka", "two bilby"});
    DocumentText::Limits late;
    late.pdfDeadline = std::chrono::milliseconds(0);
    const struct {
        const char* what;
        Kind kind;
        std::vector<std::uint8_t> bytes;
        DocumentText::Limits limits;
    } cases[] = {
        {"zip bomb", Kind::OfficeOpenXml, zipBomb(), {}},
        {"truncated pdf", Kind::Pdf, {pdf.begin(), pdf.begin() + pdf.size() * 7 / 10}, {}},
        {"looping pdf", Kind::Pdf, bytesOf(kLoopingPdf), {}},
        {"pdf past its deadline", Kind::Pdf, pdf, late},
        {"not a pdf", Kind::Pdf, bytesOf("%PDF-1.7 and then nothing"), {}},
        {"not a zip", Kind::OpenDocument, bytesOf("PK\x03\x04 broken"), {}},
        {"truncated docx",
         Kind::OfficeOpenXml,
         [] {
             auto docx = QoMsg::docxDocument({"hello wombat"});
             docx.resize(docx.size() / 2);
             return docx;
         }(),
         {}},
        {"rtf without its header", Kind::Rtf, bytesOf("just text"), {}},
    };
    for (const auto& c : cases) {
        const std::wstring text = DocumentText::extract(c.kind, c.bytes, 1252, c.limits);
        EXPECT_FALSE(hasWords(text)) << c.what << ": " << narrow(text);
    }
    // The same documents within their limits do give text.
    EXPECT_NE(DocumentText::pdfText(pdf, {}).find(L"bilby"), std::wstring::npos);
    DocumentText::Limits roomy;
    roomy.maxZipMemberBytes = 32 * 1024 * 1024;
    roomy.maxChars = 100;
    EXPECT_EQ(DocumentText::zipDocumentText(Kind::OfficeOpenXml, zipBomb(), roomy),
              std::wstring(100, L'a'));
}

TEST(AttachmentText, TextOfOneMessageStopsAtItsLimitAndNamesReadBack) {
    MsgMessage message = QoTest::simpleMessage();
    for (const wchar_t* name : {L"one.txt", L"two.txt", L"three.txt"})
        message.attachments.push_back({1, name, std::vector<std::uint8_t>(600000, 'w'), nullptr});
    std::string error;
    auto attachments = CMessageAttachments::openBytes(QoMsg::writeMsgBytes(message), error);
    ASSERT_TRUE(attachments) << error;
    const std::wstring text = AttachmentText::build(*attachments, {});
    EXPECT_EQ(text.size(), DocumentText::Limits{}.maxChars);
    EXPECT_EQ(AttachmentText::namesOf(text), (std::vector<std::wstring>{L"one.txt", L"two.txt"}));
}

// Messages that differ only in where one word is: each is found by that word
// among its attachments, through the index, and by nothing else. Each kind of
// document gives its text above; here one of them stands for all.
class AttachmentSearch : public QoTest::FilingFolder {
protected:
    void write(const std::string& name, const MsgMessage& message) {
        std::filesystem::create_directories(mail);
        QoMsg::writeMsgFile(mail / name, message);
    }
    std::multiset<std::string> found(const std::vector<std::string>& criterion) {
        const QoTest::CommandResult result = find(criterion);
        EXPECT_EQ(result.status, 0) << result.err;
        return result.fileNames();
    }
};

MsgMessage withAttachment(QoMsg::MsgAttachment attachment) {
    MsgMessage message = QoTest::simpleMessage();
    message.attachments.push_back(std::move(attachment));
    return message;
}

std::shared_ptr<MsgMessage> attachedMessage(const std::wstring& body,
                                            std::vector<QoMsg::MsgAttachment> attachments = {}) {
    auto inner = std::make_shared<MsgMessage>(QoTest::simpleMessage());
    inner->subject = L"Forwarded";
    inner->body = body;
    inner->attachments = std::move(attachments);
    return inner;
}

TEST_F(AttachmentSearch, AWordOnlyInAnAttachmentFindsItsMessage) {
    const std::vector<std::uint8_t> noise = {0x89, 'P', 'N', 'G', 0, 1, 2};
    write("pdf.msg", withAttachment({1, L"plan.pdf", QoMsg::pdfDocument({"cover", "quokka"}), {}}));
    write("csv.msg", withAttachment({1, L"list.csv", bytesOf("id;dunnart\r\n1;2"), {}}));
    write("name.msg", withAttachment({1, L"platypus-plan.bin", noise, {}}));
    write("attached.msg", withAttachment({5, L"Forwarded", {}, attachedMessage(L"numbat")}));
    write("nested.msg",
          withAttachment({5,
                          L"Forwarded",
                          {},
                          attachedMessage(L"see attached",
                                          {{1, L"x.pdf", QoMsg::pdfDocument({"bilby"}), {}}})}));
    write("hostile.msg", [&] {
        MsgMessage message = QoTest::simpleMessage();
        const auto pdf = QoMsg::pdfDocument({"page one quokka", "two bilby"});
        message.attachments.push_back({1, L"bomb.docx", zipBomb(), {}});
        message.attachments.push_back(
            {1, L"cut.pdf", {pdf.begin(), pdf.begin() + pdf.size() * 7 / 10}, {}});
        message.attachments.push_back({1, L"loop.pdf", bytesOf(kLoopingPdf), {}});
        return message;
    }());

    using Names = std::multiset<std::string>;
    const struct {
        const char* word;
        Names files;
    } cases[] = {
        {"quokka", {"pdf.msg"}},
        {"dunnart", {"csv.msg"}},
        {"platypus", {"name.msg"}},
        {"numbat", {"attached.msg"}},
        {"bilby", {"nested.msg"}},
        {"loop", {"hostile.msg"}},
        {"forwarded", {"attached.msg", "nested.msg"}},
    };
    EXPECT_EQ(found({"--subject", "site"}).size(), 6u) << "indexing every message";
    for (const auto& c : cases) {
        EXPECT_EQ(found({"--no-update", "--attachment", c.word}), c.files) << c.word;
        EXPECT_EQ(found({"--no-update", "--keywords", c.word}), c.files) << c.word;
        EXPECT_EQ(found({"--no-update", "--body", c.word}), Names{}) << c.word;
    }
    EXPECT_EQ(found({"--no-update", "--attachment", "plat"}), Names{"name.msg"}) << "a prefix";

    // A damaged or hostile attachment gives its name and nothing else.
    std::string error;
    auto hostile = CMessageAttachments::openFile(Kerf::Util::fromPath(mail / "hostile.msg"), error);
    ASSERT_TRUE(hostile) << error;
    EXPECT_EQ(AttachmentText::build(*hostile, {}), L"bomb.docx\x1F"
                                                   L"bomb docx\n\x1E"
                                                   L"cut.pdf\x1F"
                                                   L"cut pdf\n\x1E"
                                                   L"loop.pdf\x1F"
                                                   L"loop pdf\n\x1E");

    const auto shown = QoTest::runCli({"show", "--json", (mail / "nested.msg").string()});
    EXPECT_NE(shown.out.find("\"Attachments\": [\"Forwarded\"]"), std::string::npos) << shown.out;
    const auto json = find({"--no-update", "--json", "--attachment", "numbat"});
    EXPECT_NE(json.out.find("\"Attachments\": [\"Forwarded\"]"), std::string::npos) << json.out;
}

} // namespace
