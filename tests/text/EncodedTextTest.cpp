// 8-bit, UTF-16, HTML and RTF text to wide text: code pages and the one a
// message's own values choose, the charset HTML declares, and RTF's binary
// data and deep nesting.

#include "text/CodePages.h"
#include "text/HtmlText.h"
#include "text/RtfText.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Kerf;

namespace {

TEST(CodePages, LocaleLanguagesAndUndecodableBytes) {
    EXPECT_EQ(CodePages::ansiCodePageOfLocale(0x0804), 936);  // Chinese, PRC
    EXPECT_EQ(CodePages::ansiCodePageOfLocale(0x0C04), 950);  // Chinese, Hong Kong
    EXPECT_EQ(CodePages::ansiCodePageOfLocale(0x0C1A), 1251); // Serbian, Cyrillic
    EXPECT_EQ(CodePages::ansiCodePageOfLocale(0x081A), 1250); // Serbian, Latin
    EXPECT_EQ(CodePages::ansiCodePageOfLocale(0x0411), 932);
    EXPECT_EQ(CodePages::messageCodePage(0, std::nullopt, std::nullopt), 1252);

    // Shift-JIS, a byte no code page maps, a truncated lead byte.
    EXPECT_EQ(CodePages::decode("\x93\xfa\x96\x7b", 932), L"\x65e5\x672c");
    EXPECT_EQ(CodePages::decode("a\x81z", 1252).size(), 3u);
    EXPECT_EQ(CodePages::decode("ab\x93", 932), L"ab\xfffd");
    EXPECT_EQ(CodePages::decode("caf\xe9", 99999), L"caf\x00e9"); // unknown: read as 1252

    const std::uint8_t utf16[] = {'a', 0, 0x3D, 0xD8, 'b', 0, 0x3D, 0xD8, 0x00, 0xDE, 0, 0, 'c'};
    EXPECT_EQ(CodePages::decodeUtf16le(utf16, sizeof utf16, true), L"a\xfffd"
                                                                   L"b\x1F600");

    // Long text goes eight units at a time: a pair across a block boundary,
    // a lone low surrogate and a NUL well inside, text after the NUL only
    // when it does not end the string.
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
        L"<pre>  kept\n  as is</pre><!-- hidden --> Caf&eacute; &#x20AC;</body></html>");
    EXPECT_EQ(text, L"First para&graph, wrapped\r\nSecond\r\nline\r\na b\r\n  kept\r\n  as is\r\n"
                    L"Caf\x00e9 \x20ac");
}

TEST(HtmlText, FindsTheDeclaredCharset) {
    EXPECT_EQ(Html::declaredCharset("<html><head><META HTTP-EQUIV=\"Content-Type\" "
                                    "CONTENT=\"text/html; charset=Windows-1251\">"),
              "windows-1251");
    EXPECT_EQ(Html::declaredCharset("<meta charset='utf-8'><p>x"), "utf-8");
    EXPECT_EQ(Html::declaredCharset("\xEF\xBB\xBF<p>x</p>"), "utf-8");
    EXPECT_EQ(Html::declaredCharset("<p>charset=koi8-r is only text</p>"), "");
}

TEST(HtmlText, DeepNestingEndsTheTextButNotTheProgram) {
    std::wstring html = L"<p>before</p>";
    for (int i = 0; i < 100000; ++i)
        html += L"<div><span>";
    html += L"deep";
    EXPECT_EQ(Html::toPlainText(html).substr(0, 6), L"before");
}

TEST(RtfText, SkipsBinaryDataAndSurvivesDeepNesting) {
    EXPECT_EQ(
        Kerf::Rtf::extract("{\\rtf1 a{\\*\\unknown hidden}\\bin3 {}}b\\uc2\\u233\\'3f\\'3fc}", 1252)
            .text,
        L"ab\x00e9"
        L"c");
    std::string deep = "{\\rtf1 x";
    for (int i = 0; i < 100000; ++i)
        deep += "{";
    deep += "y";
    EXPECT_EQ(Kerf::Rtf::extract(deep, 1252).text, L"xy");
    // A \bin length past the end stops at the end.
    EXPECT_EQ(Kerf::Rtf::extract("{\\rtf1 z\\bin999999 abc", 1252).text, L"z");
}

} // namespace
