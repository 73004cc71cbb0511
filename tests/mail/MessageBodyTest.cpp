// Bodies of messages without a plain-text body: from the HTML body, from
// compressed RTF made from HTML, and from plain RTF.

#include "MsgTestFiles.h"

#include <gtest/gtest.h>

using namespace Kerf;
using QoMsg::MsgMessage;

namespace {

TEST(MessageBody, HtmlBodyInItsDeclaredCharsetElseTheInternetCodePage) {
    QoTest::MsgFiles files;
    MsgMessage declared;
    declared.html = "<html><head><meta http-equiv=Content-Type content=\"text/html; "
                    "charset=windows-1251\"></head><body><p>\xCF\xF0\xE8\xE2\xE5\xF2</p></body>";
    declared.internetCodePage = 1252;
    EXPECT_EQ(files.roundTrip(declared).GetStringValue(L"Body"),
              L"\x041F\x0440\x0438\x0432\x0435\x0442");

    MsgMessage undeclared;
    undeclared.html = "<p>\xCF\xF0\xE8\xE2\xE5\xF2</p>";
    undeclared.internetCodePage = 1251;
    EXPECT_EQ(files.roundTrip(undeclared).GetStringValue(L"Body"),
              L"\x041F\x0440\x0438\x0432\x0435\x0442");

    // A plain-text body, when there is one, wins.
    MsgMessage both = undeclared;
    both.body = L"plain";
    EXPECT_EQ(files.roundTrip(both).GetStringValue(L"Body"), L"plain");
}

TEST(MessageBody, RtfMadeFromHtmlGivesTheHtmlText) {
    QoTest::MsgFiles files;
    MsgMessage message;
    message.compressedRtf = QoMsg::storedRtf(
        "{\\rtf1\\ansi\\ansicpg1252\\fromhtml1 \\deff0{\\fonttbl{\\f0\\fswiss Arial;}}"
        "{\\*\\htmltag19 <html>}{\\*\\htmltag34 <head>}{\\*\\htmltag1 <style>p{}</style>}"
        "{\\*\\htmltag41 </head>}{\\*\\htmltag50 <body>}\\htmlrtf {\\htmlrtf0 "
        "{\\*\\htmltag64 <p>}Caf\\'e9 au lait \\u8364?\\htmlrtf\\par\\htmlrtf0"
        "{\\*\\htmltag72 </p>}{\\*\\htmltag64 <p>}Second &amp; last{\\*\\htmltag72 </p>}"
        "\\htmlrtf }\\htmlrtf0 {\\*\\htmltag58 </body>}{\\*\\htmltag27 </html>}}",
        true);
    EXPECT_EQ(files.roundTrip(message).GetStringValue(L"Body"),
              L"Caf\x00e9 au lait \x20ac\r\nSecond & last");
}

TEST(MessageBody, PlainRtfGivesItsText) {
    QoTest::MsgFiles files;
    MsgMessage message;
    message.compressedRtf = QoMsg::storedRtf(
        "{\\rtf1\\ansi\\ansicpg1251\\deff0{\\fonttbl{\\f0\\fnil\\fcharset204 Arial;}"
        "{\\f1\\fnil\\fcharset128 MS Gothic;}}{\\colortbl;\\red0\\green0\\blue0;}"
        "{\\*\\generator Writer;}\\pard\\f0\\'cf\\'f0\\'e8\\'e2\\'e5\\'f2\\par "
        "{\\f1 \\'93\\'fa}\\tab x\\uc1\\u-10179?\\u-8704?\\par}",
        false);
    EXPECT_EQ(files.roundTrip(message).GetStringValue(L"Body"),
              L"\x041F\x0440\x0438\x0432\x0435\x0442\r\n\x65e5\tx\x1F600\r\n");
}

} // namespace
