#pragma once
// A message of known contents for the project's own message writer.

#include "MsgWriter.h"

namespace QoTest {

/// A plain message with the text keys set.
inline QoMsg::MsgMessage simpleMessage() {
    QoMsg::MsgMessage message;
    message.subject = L"RE: Site visit";
    message.normalizedSubject = L"Site visit";
    message.senderName = L"Anna Meyer";
    message.displayTo = L"Ben Clarke; Clara Dubois";
    message.displayCc = L"";
    message.body = L"See you on Friday.\r\n";
    return message;
}

} // namespace QoTest
