// Text out of RTF: binary data skipped, deep nesting survived.

#include "text/RtfText.h"

#include <gtest/gtest.h>

namespace {

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
