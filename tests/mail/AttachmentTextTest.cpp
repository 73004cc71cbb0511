#include "FilingFolder.h"
#include "HostileDocuments.h"
#include "MsgTestFiles.h"
#include "WidgetTestEnvironment.h"

#include "mail/AttachmentText.h"

#include <gtest/gtest.h>

#include <chrono>
#include <set>

using namespace Kerf::QuireLib;
using QoMsg::MsgMessage;
using QoTest::bytesOf;

namespace {

// The PDF writer needs a GUI application.
const auto* const g_environment =
    ::testing::AddGlobalTestEnvironment(new QoTest::WidgetTestEnvironment("attachment_text_tests"));

// The text of the message's attachments, within the limits.
std::wstring textOf(const MsgMessage& message, const DocumentText::Limits& limits = {}) {
    std::string error;
    auto attachments = CMessageAttachments::openBytes(QoMsg::writeMsgBytes(message), error);
    EXPECT_TRUE(attachments) << error;
    return attachments ? AttachmentText::build(*attachments, limits) : L"";
}

TEST(AttachmentText, TextOfOneMessageStopsAtItsLimitAndNamesReadBack) {
    MsgMessage message = QoTest::simpleMessage();
    for (const wchar_t* name : {L"one.txt", L"two.txt", L"three.txt"})
        message.attachments.push_back({1, name, std::vector<std::uint8_t>(600000, 'w'), nullptr});
    const std::wstring text = textOf(message);
    EXPECT_EQ(text.size(), DocumentText::Limits{}.maxChars);
    EXPECT_EQ(AttachmentText::namesOf(text), (std::vector<std::wstring>{L"one.txt", L"two.txt"}));
}

// Slow documents cost one message its budget, not an hour: past it the
// attachments left give their names, the quick ones too.
TEST(AttachmentText, TheMessagesTimeBudgetCutsSlowDocumentsShort) {
    MsgMessage message = QoTest::simpleMessage();
    for (const wchar_t* name : {L"slow1.pdf", L"slow2.pdf", L"slow3.pdf"})
        message.attachments.push_back({1, name, QoMsg::slowPdfDocument(), nullptr});
    message.attachments.push_back({1, L"quick.txt", bytesOf("quokka"), nullptr});
    DocumentText::Limits limits;
    limits.pdfDeadline = std::chrono::minutes(5);
    limits.messageBudget = std::chrono::seconds(1);
    const auto start = std::chrono::steady_clock::now();
    const std::wstring text = textOf(message, limits);
    // Each document alone would run for its five minutes.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::minutes(1));
    EXPECT_EQ(AttachmentText::namesOf(text),
              (std::vector<std::wstring>{L"slow1.pdf", L"slow2.pdf", L"slow3.pdf", L"quick.txt"}));
    EXPECT_EQ(text.find(L"quokka"), std::wstring::npos);
}

// Messages that differ only in where one word is: each is found by that word
// among its attachments, through the index, and by nothing else. How each kind
// of document gives its text, and how names match, the text and cycle tests say.
class AttachmentSearch : public QoTest::FilingFolder {
protected:
    /// A message whose one attachment is the given one.
    void write(const std::string& name, QoMsg::MsgAttachment attachment) {
        MsgMessage message = QoTest::simpleMessage();
        message.attachments.push_back(std::move(attachment));
        std::filesystem::create_directories(mail);
        QoMsg::writeMsgFile(mail / name, message);
    }
    std::multiset<std::string> found(const std::vector<std::string>& criterion) {
        const QoTest::CommandResult result = find(criterion);
        EXPECT_EQ(result.status, 0) << result.err;
        return result.fileNames();
    }
};

std::shared_ptr<MsgMessage> attachedMessage(const std::wstring& body,
                                            std::vector<QoMsg::MsgAttachment> attachments = {}) {
    auto inner = std::make_shared<MsgMessage>(QoTest::simpleMessage());
    inner->subject = L"Forwarded";
    inner->body = body;
    inner->attachments = std::move(attachments);
    return inner;
}

TEST_F(AttachmentSearch, AWordOnlyInAnAttachmentFindsItsMessage) {
    write("pdf.msg", {1, L"plan.pdf", QoMsg::pdfDocument({"cover", "quokka"}), {}});
    write("csv.msg", {1, L"list.csv", bytesOf("id;dunnart\r\n1;2"), {}});
    write("attached.msg", {5, L"Forwarded", {}, attachedMessage(L"numbat")});
    write("nested.msg",
          {5,
           L"Forwarded",
           {},
           attachedMessage(L"see attached", {{1, L"x.pdf", QoMsg::pdfDocument({"bilby"}), {}}})});
    // Each hostile document gives no text in the text tests; its message is still found.
    write("hostile.msg", {1, L"bomb.docx", QoTest::zipBomb(), {}});

    using Names = std::multiset<std::string>;
    const struct {
        const char* word;
        Names files;
    } cases[] = {
        {"quokka", {"pdf.msg"}},      {"dunnart", {"csv.msg"}},
        {"numbat", {"attached.msg"}}, {"bilby", {"nested.msg"}},
        {"bomb", {"hostile.msg"}},    {"forwarded", {"attached.msg", "nested.msg"}},
    };
    EXPECT_EQ(found({"--subject", "site"}).size(), 5u) << "indexing every message";
    for (const auto& c : cases) {
        EXPECT_EQ(found({"--no-update", "--attachment", c.word}), c.files) << c.word;
        EXPECT_EQ(found({"--no-update", "--keywords", c.word}), c.files) << c.word;
        EXPECT_EQ(found({"--no-update", "--body", c.word}), Names{}) << c.word;
    }
    EXPECT_EQ(found({"--no-update", "--attachment", "dunn"}), Names{"csv.msg"}) << "a prefix";
    // A raw query is taken whole, inside the folder, and every other criterion is dropped.
    EXPECT_EQ(found({"--no-update", "--subject", "none", "--after", "2099-01-01", "--query",
                     "Attachments:dunnart OR Attachments:quokka"}),
              (Names{"csv.msg", "pdf.msg"}));

    const auto shown = QoTest::runCli({"show", "--json", (mail / "nested.msg").string()});
    EXPECT_NE(shown.out.find("\"Attachments\": [\"Forwarded\"]"), std::string::npos) << shown.out;
    const auto json = find({"--no-update", "--json", "--attachment", "numbat"});
    EXPECT_NE(json.out.find("\"Attachments\": [\"Forwarded\"]"), std::string::npos) << json.out;
}

} // namespace
