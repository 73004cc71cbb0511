// Messages read whole for showing: the HTML body as written and whether
// every part could be read.

#include "CorpusExpectations.h"
#include "MsgTestFiles.h"
#include "SharedFiles.h"

#include "mail/MessageDocument.h"

#include <gtest/gtest.h>

#include <fstream>

using Kerf::QuireLib::CMessageDocument;
using QoMsg::MsgMessage;

namespace {

std::wstring pathOf(const std::filesystem::path& path) {
    return Kerf::Util::fromPath(path);
}

QO_TESTS_READ_SHARED(Corpus, "MessageDocument.CutShortOrForeignFilesSayWhatCouldBeRead");

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
            pathOf(files.write(std::string(c.name) + ".msg", c.message)));
        EXPECT_TRUE(document.MessageRead()) << c.name;
        EXPECT_FALSE(document.Damaged()) << c.name;
        EXPECT_EQ(document.HtmlBody(), c.html) << c.name;
        EXPECT_EQ(document.GetStringValue(L"Subject"), L"RE: Site visit") << c.name;
    }
}

TEST(MessageDocument, CutShortOrForeignFilesSayWhatCouldBeRead) {
    QoTest::TempDir dir;
    const std::string bytes = QoTest::readFile(QoTest::corpusDirectory() / "msg" / "poi_quick.msg");
    const auto cut = dir.path() / "cut.msg";
    std::ofstream(cut, std::ios::binary).write(bytes.data(), bytes.size() * 7 / 10);
    const auto text = dir.path() / "text.msg";
    std::ofstream(text) << "not a message";

    const CMessageDocument shortened(pathOf(cut));
    EXPECT_TRUE(shortened.MessageRead());
    EXPECT_TRUE(shortened.Damaged());
    EXPECT_EQ(shortened.GetStringValue(L"Subject"), L"Test the content transformer");

    const CMessageDocument foreign(pathOf(text));
    EXPECT_FALSE(foreign.MessageRead());
    EXPECT_EQ(foreign.GetSize(), 13);
    EXPECT_EQ(foreign.GetStringValue(L"Location"), pathOf(text));
}

} // namespace
