#pragma once
// How one message reads in the preview pane and in the message viewer: bold
// labels for From, To, Cc and Bcc where they have a value, always a "Sent:"
// line, the subject where there is one, a blank line, then the body.

#include "mail/EmailMetadata.h"

#include <QString>

class QTextEdit;

/// The sent date and time in the user's locale: the short date (four-digit
/// year) and the time with seconds (without a time-zone name); "(not sent)"
/// for a message that has no sent date.
QString sentDateTimeText(const Kerf::OleDate& sent);

/// Replaces the text of the control by the record, scrolled to the top.
void fillPreview(QTextEdit& control, const Kerf::QuireLib::CEmailMetadata& record);
