// Plain text of HTML and the charset it declares.

#include "text/HtmlText.h"

#include <gtest/gtest.h>

using namespace Kerf;

namespace {

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

} // namespace
