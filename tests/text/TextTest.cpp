// The text of documents (damaged and hostile ones give none and never hang),
// and 8-bit, UTF-16, HTML and RTF text turned into wide text.

#include "HostileDocuments.h"
#include "WaitFor.h"
#include "WidgetTestEnvironment.h"

#include "support/Strings.h"
#include "text/CodePages.h"
#include "text/DocumentText.h"
#include "text/HtmlText.h"
#include "text/RtfText.h"
#include "text/ViewableHtml.h"

#include <QString>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cwctype>
#include <fstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Kerf;
using namespace Kerf::QuireLib;
using DocumentText::Kind;
using QoTest::bytesOf;
using QoTest::zipBomb;
using namespace QoMsg;

namespace {

// The PDF writer needs a GUI application.
const auto* const g_environment =
    ::testing::AddGlobalTestEnvironment(new QoTest::WidgetTestEnvironment("text_tests"));

std::string slide(const std::string& text) {
    return "<p:sld xmlns:p=\"p\" xmlns:a=\"a\"><a:p><a:r><a:t>" + text +
           "</a:t></a:r></a:p></p:sld>";
}

// No letter or digit: what is left of a document that gave no text.
bool hasWords(const std::wstring& text) {
    return std::any_of(text.begin(), text.end(), [](wchar_t c) { return std::iswalnum(c); });
}

} // namespace

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
        EXPECT_EQ(DocumentText::kindOf(c.name, c.mime), c.kind) << Util::toNarrow(c.name);
}

TEST(DocumentText, CommonDocumentsGiveTheirTextInOrder) {
    const DocumentText::Limits limits;
    const struct {
        const char* what;
        Kind kind;
        std::vector<std::uint8_t> bytes;
        std::vector<std::string> inOrder;
        int codePage = 1252;
    } cases[] = {
        {"pdf", Kind::Pdf, pdfDocument({"page one quokka", "page two bilby"}), {"quokka", "bilby"}},
        {"docx",
         Kind::OfficeOpenXml,
         docxDocument({"hello wombat", "next", "end"}),
         {"hello wombat next end"}},
        {"odt", Kind::OpenDocument, odtDocument({"hello numbat", "next"}), {"hello numbat next"}},
        {"xlsx",
         Kind::OfficeOpenXml,
         zipArchive(
             {{"xl/sharedStrings.xml", "<sst><si><t>shared</t></si><si><t>cell</t></si></sst>"},
              {"xl/worksheets/sheet1.xml",
               "<worksheet><c t=\"inlineStr\"><is><t>inline</t></is></c></worksheet>"}}),
         {"shared cell", "inline"}},
        {"pptx slides by number",
         Kind::OfficeOpenXml,
         zipArchive({{"ppt/slides/slide10.xml", slide("tenth")},
                     {"ppt/slides/slide2.xml", slide("second")},
                     {"ppt/slides/slide1.xml", slide("fir</a:t><a:t>st")}}),
         {"first", "second", "tenth"}},
        {"code page text", Kind::Plain, bytesOf("caf\xE9 cr\xE8me"), {"café crème"}},
        {"UTF-8 text", Kind::Plain, bytesOf("caf\xC3\xA9;cr\xC3\xA8me"), {"café;crème"}, 1251},
        {"UTF-16 text", Kind::Plain, bytesOf(std::string("\xFF\xFEh\0i\0", 6)), {"hi"}},
        {"html",
         Kind::Html,
         bytesOf("<html><body><p>quoll <b>dingo</b></p></body></html>"),
         {"quoll dingo"}},
        {"rtf",
         Kind::Rtf,
         bytesOf("{\\rtf1\\ansi\\ansicpg1252 {\\b echidna} caf\\'e9}"),
         {"echidna", "café"}},
    };
    for (const auto& c : cases) {
        const std::string text =
            Util::toNarrow(DocumentText::extract(c.kind, c.bytes, c.codePage, limits));
        std::size_t at = 0;
        for (const std::string& part : c.inOrder) {
            const std::size_t found = text.find(part, at);
            EXPECT_NE(found, std::string::npos) << c.what << ": \"" << part << "\" in\n" << text;
            at = found == std::string::npos ? at : found + part.size();
        }
    }
}

TEST(DocumentText, DamagedAndHostileDocumentsGiveNoText) {
    const std::vector<std::uint8_t> pdf = pdfDocument({"page one quokka", "two bilby"});
    DocumentText::Limits late;
    late.pdfDeadline = std::chrono::milliseconds(0);
    std::vector<std::uint8_t> docx = docxDocument({"hello wombat"});
    docx.resize(docx.size() / 2);
    const struct {
        const char* what;
        Kind kind;
        std::vector<std::uint8_t> bytes;
        DocumentText::Limits limits;
    } cases[] = {
        {"zip bomb", Kind::OfficeOpenXml, zipBomb(), {}},
        {"truncated pdf", Kind::Pdf, {pdf.begin(), pdf.begin() + pdf.size() * 7 / 10}, {}},
        {"looping pdf", Kind::Pdf, bytesOf(QoTest::kLoopingPdf), {}},
        {"pdf past its deadline", Kind::Pdf, pdf, late},
        {"not a pdf", Kind::Pdf, bytesOf("%PDF-1.7 and then nothing"), {}},
        {"not a zip", Kind::OpenDocument, bytesOf("PK\x03\x04 broken"), {}},
        {"truncated docx", Kind::OfficeOpenXml, docx, {}},
        {"rtf without its header", Kind::Rtf, bytesOf("just text"), {}},
    };
    for (const auto& c : cases) {
        const std::wstring text = DocumentText::extract(c.kind, c.bytes, 1252, c.limits);
        EXPECT_FALSE(hasWords(text)) << c.what << ": " << Util::toNarrow(text);
    }
    // The same documents within their limits do give text.
    EXPECT_NE(DocumentText::pdfText(pdf, {}).find(L"bilby"), std::wstring::npos);
    DocumentText::Limits roomy;
    roomy.maxZipMemberBytes = 32 * 1024 * 1024;
    roomy.maxChars = 100;
    EXPECT_EQ(DocumentText::zipDocumentText(Kind::OfficeOpenXml, zipBomb(), roomy),
              std::wstring(100, L'a'));
}

// A PDF is read by a process of its own; killing the indexer (kill -9 too)
// must not leave it reading on for nobody.
TEST(DocumentText, APdfReaderDiesWithTheProcessThatStartedIt) {
    // Orphans come to this process, so that the reader can be waited for.
    ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    const std::vector<std::uint8_t> slow = slowPdfDocument();
    const pid_t indexer = ::fork();
    ASSERT_GE(indexer, 0);
    if (indexer == 0) {
        DocumentText::Limits limits;
        limits.pdfDeadline = std::chrono::minutes(5);
        DocumentText::pdfText(slow, limits);
        ::_exit(0);
    }
    // The reader shows as the indexer's child.
    const std::string children =
        "/proc/" + std::to_string(indexer) + "/task/" + std::to_string(indexer) + "/children";
    pid_t reader = 0;
    QoTest::waitFor([&] { return bool(std::ifstream(children) >> reader); });
    ::kill(indexer, SIGKILL);
    ::waitpid(indexer, nullptr, 0);
    ASSERT_GT(reader, 0) << "no reader was started";
    const bool ended =
        QoTest::waitFor([&] { return ::waitpid(reader, nullptr, WNOHANG) == reader; });
    if (!ended) {
        ::kill(reader, SIGKILL);
        ::waitpid(reader, nullptr, 0);
    }
    ::prctl(PR_SET_CHILD_SUBREAPER, 0);
    EXPECT_TRUE(ended) << "the reader read on after its indexer was killed";
}

TEST(CodePages, LocaleLanguagesAndUndecodableBytes) {
    // Chinese of the PRC and of Hong Kong, Serbian in Cyrillic and in Latin, Japanese.
    for (const auto& [locale, codePage] :
         {std::pair{0x0804, 936}, {0x0C04, 950}, {0x0C1A, 1251}, {0x081A, 1250}, {0x0411, 932}})
        EXPECT_EQ(CodePages::ansiCodePageOfLocale(locale), codePage) << locale;

    // Shift-JIS, a byte no code page maps, a truncated lead byte.
    EXPECT_EQ(CodePages::decode("\x93\xfa\x96\x7b", 932), L"\x65e5\x672c");
    EXPECT_EQ(CodePages::decode("a\x81z", 1252).size(), 3u);
    EXPECT_EQ(CodePages::decode("ab\x93", 932), L"ab\xfffd");
    EXPECT_EQ(CodePages::decode("caf\xe9", 99999), L"caf\x00e9"); // unknown: read as 1252

    const std::uint8_t utf16[] = {'a', 0, 0x3D, 0xD8, 'b', 0, 0x3D, 0xD8, 0x00, 0xDE, 0, 0, 'c'};
    EXPECT_EQ(CodePages::decodeUtf16le(utf16, sizeof utf16, true), L"a\xfffd"
                                                                   L"b\x1F600");

    // Long text goes eight units at a time: a pair across a block boundary, a lone low surrogate
    // and a NUL well inside, text after the NUL only when it does not end the string.
    std::wstring expected;
    std::vector<std::uint8_t> longText;
    auto add = [&](const std::u16string& units, const std::wstring& decoded) {
        for (const char16_t unit : units) {
            longText.push_back(static_cast<std::uint8_t>(unit & 0xFF));
            longText.push_back(static_cast<std::uint8_t>(unit >> 8));
        }
        expected += decoded;
    };
    add(std::u16string(7, u'\x00e9'), std::wstring(7, L'\x00e9'));
    add(u"\xD83D\xDE00", L"\x1F600");
    add(std::u16string(12, u'k'), std::wstring(12, L'k'));
    add(u"\xDC00", L"\xfffd");
    add(u"z", L"z");
    const std::wstring beforeNul = expected;
    add(u'\0' + std::u16string(9, u'q'), L'\0' + std::wstring(9, L'q'));
    EXPECT_EQ(CodePages::decodeUtf16le(longText.data(), longText.size(), true), beforeNul);
    EXPECT_EQ(CodePages::decodeUtf16le(longText.data(), longText.size(), false), expected);
}

TEST(HtmlText, DropsMarkupScriptsAndStylesAndBreaksBlocks) {
    const std::wstring text = Html::toPlainText(
        L"<html><head><title>Title</title><style>p{color:red}</style></head><body>"
        L"<script>var x = 1;</script><p>First&nbsp;para&amp;graph,\n   wrapped</p>"
        L"<div>Second<br>line</div><table><tr><td>a</td><td>b</td></tr></table>"
        L"<pre>  kept\n  as is</pre><!-- hidden --> Caf&eacute; &#x20AC;"
        // A word processor's markers go, what lies between them stays; other
        // "<![" text stays as written, and a comment's end is no marker.
        L"<!--[if gte mso 9]><xml>hidden</xml><![endif]--><p><![if !supportLists]>1.<![endif]>"
        L"Download<![ENDIF]> a<![iffy]> b<![if !x]</p></body></html>");
    EXPECT_EQ(text, L"First para&graph, wrapped\r\nSecond\r\nline\r\na b\r\n  kept\r\n  as is\r\n"
                    L"Caf\x00e9 \x20ac\r\n1.Download a<![iffy]> b<![if !x]");
}

// A body the viewer could not lay out in time, or without overflowing the
// stack, is refused; each limit on its own.
TEST(ViewableHtml, BodiesPastALimitAreRefusedSayingWhich) {
    const auto times = [](const char* html, int n) {
        return QByteArray(html).repeated(n).toStdString();
    };
    const std::pair<std::string, const char*> bodies[] = {
        {times("<table><tr><td>", 12) + times("<b>x</b>", 20), "would take too long"},
        {times("<table><tr><td>", 13), "more than 12 tables deep"},
        {times("<div>", 401), "more than 400 elements deep"},
        {times("<img src=x>", 501), "more than 500 pictures"},
        {times("<br>", 30001), "more than 30000 elements"},
    };
    for (const auto& [html, reason] : bodies)
        EXPECT_NE(Html::makeViewable(html).refusal.find(reason), std::string::npos) << reason;
    // Styles and attributes name no file to load.
    for (const char* html : {"<p style=\"background: url(/etc/x.png)\">t</p>",
                             "<style>p { background: url(/etc/x.png) }</style><p>t</p>",
                             "<body background=\"/etc/x.png\"><p>t</p></body>"})
        EXPECT_EQ(Html::makeViewable(html).html.find("/etc/x.png"), std::string::npos) << html;
}

TEST(HtmlText, FindsTheDeclaredCharset) {
    EXPECT_EQ(Html::declaredCharset("<html><head><META HTTP-EQUIV=\"Content-Type\" "
                                    "CONTENT=\"text/html; charset=Windows-1251\">"),
              "windows-1251");
    EXPECT_EQ(Html::declaredCharset("<meta charset='utf-8'><p>x"), "utf-8");
    EXPECT_EQ(Html::declaredCharset("\xEF\xBB\xBF<p>x</p>"), "utf-8");
    EXPECT_EQ(Html::declaredCharset("<p>charset=koi8-r is only text</p>"), "");
}

TEST(RtfText, SkipsBinaryDataAndSurvivesDeepNesting) {
    EXPECT_EQ(
        Kerf::Rtf::extract("{\\rtf1 a{\\*\\unknown hidden}\\bin3 {}}b\\uc2\\u233\\'3f\\'3fc}", 1252)
            .text,
        L"ab\x00e9"
        L"c");
    // Deep nesting ends the text (of HTML) but not the program.
    const std::string deep = "{\\rtf1 x" + QByteArray("{").repeated(100000).toStdString() + "y";
    EXPECT_EQ(Kerf::Rtf::extract(deep, 1252).text, L"xy");
    const QString html = "<p>before</p>" + QString("<div><span>").repeated(100000) + "deep";
    EXPECT_EQ(Html::toPlainText(html.toStdWString()).substr(0, 6), L"before");
    // A \bin length past the end stops at the end.
    EXPECT_EQ(Kerf::Rtf::extract("{\\rtf1 z\\bin999999 abc", 1252).text, L"z");
}
