#pragma once
// How one message reads in the preview pane and in the message viewer: bold
// labels for From, To, Cc and Bcc where they have a value, always a "Sent:"
// line, the subject where there is one, the attachments' names where there
// are any, a blank line, then the body.

#include "mail/EmailMetadata.h"
#include "mail/SearchWords.h"

#include <QString>

#include <vector>

class QTextCharFormat;
class QTextDocument;
class QTextEdit;

/// A stretch of the preview's document, in document positions.
struct PreviewMatch {
    int start = 0;
    int length = 0;
};

/// The sent date and time in the user's locale: the short date (four-digit
/// year) and the time with seconds (without a time-zone name); "(not sent)"
/// for a message that has no sent date.
QString sentDateTimeText(const Kerf::OleDate& sent);

/// Replaces the text of the control by the record, scrolled to the top.
/// The words of the search are highlighted in the values of the header
/// lines and in the body; returns the highlighted words in document order.
std::vector<PreviewMatch> fillPreview(QTextEdit& control,
                                      const Kerf::QuireLib::CEmailMetadata& record,
                                      const std::vector<Kerf::QuireLib::SearchWord>& words = {});

/// Highlights the words of the search wherever they stand in the document
/// (a message body as the viewer shows it); returns them in document order.
std::vector<PreviewMatch> markWords(QTextDocument& document,
                                    const std::vector<Kerf::QuireLib::SearchWord>& words);

/// How a highlighted word looks.
QTextCharFormat matchFormat();
