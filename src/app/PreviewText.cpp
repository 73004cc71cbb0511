#include "app/PreviewText.h"

#include "controls/LocaleDates.h"
#include "mail/PeopleText.h"
#include "support/DateTime.h"

#include <QColor>
#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCharFormat>
#include <QTextCursor>
#include <QTextEdit>

namespace {

// Message bodies end their lines with "\r\n"; the document wants "\n" alone.
QString withPlainNewlines(const std::wstring& text) {
    QString s = QString::fromStdWString(text);
    s.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    s.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return s;
}

// UTF-16 positions of the characters of a wide string (one past the end
// included): characters beyond the basic plane take two units.
std::vector<int> utf16Positions(const std::wstring& text) {
    std::vector<int> positions;
    positions.reserve(text.size() + 1);
    int position = 0;
    for (const wchar_t c : text) {
        positions.push_back(position);
        position += static_cast<std::uint32_t>(c) > 0xFFFF ? 2 : 1;
    }
    positions.push_back(position);
    return positions;
}

class PreviewWriter {
public:
    PreviewWriter(QTextEdit& control, const std::vector<Kerf::QuireLib::SearchWord>& words)
        : m_cursor(control.document()), m_words(words) {}

    // Moves to the end, then inserts the text with only bold (or nothing)
    // switched on, so italic and underline never carry over.
    void append(const QString& text, bool bold) {
        m_cursor.movePosition(QTextCursor::End);
        QTextCharFormat format;
        format.setFontWeight(bold ? QFont::Bold : QFont::Normal);
        format.setFontItalic(false);
        format.setFontUnderline(false);
        m_cursor.insertText(text, format);
    }

    // A value: what the message says, so the search's words are marked in it.
    void appendValue(const QString& text) {
        m_cursor.movePosition(QTextCursor::End);
        const int start = m_cursor.position();
        append(text, false);
        const std::wstring wide = text.toStdWString();
        const auto spans = Kerf::QuireLib::matchingSpans(wide, m_words);
        if (spans.empty())
            return;
        const std::vector<int> positions = utf16Positions(wide);
        QTextCursor mark(m_cursor.document());
        for (const Kerf::QuireLib::TextSpan& span : spans) {
            const int from = start + positions[span.start];
            const int to = start + positions[span.start + span.length];
            mark.setPosition(from);
            mark.setPosition(to, QTextCursor::KeepAnchor);
            mark.mergeCharFormat(matchFormat());
            m_matches.push_back({from, to - from});
        }
    }

    void line(const QString& label, const QString& value) {
        append(label, true);
        appendValue(value);
        append(QStringLiteral("\n"), false);
    }

    const std::vector<PreviewMatch>& matches() const { return m_matches; }

private:
    QTextCursor m_cursor;
    const std::vector<Kerf::QuireLib::SearchWord>& m_words;
    std::vector<PreviewMatch> m_matches;
};

} // namespace

std::vector<PreviewMatch> markWords(QTextDocument& document,
                                    const std::vector<Kerf::QuireLib::SearchWord>& words) {
    std::vector<PreviewMatch> matches;
    if (words.empty())
        return matches;
    QTextCursor mark(&document);
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        const std::wstring wide = block.text().toStdWString();
        const auto spans = Kerf::QuireLib::matchingSpans(wide, words);
        if (spans.empty())
            continue;
        const std::vector<int> positions = utf16Positions(wide);
        for (const Kerf::QuireLib::TextSpan& span : spans) {
            const int from = block.position() + positions[span.start];
            const int to = block.position() + positions[span.start + span.length];
            mark.setPosition(from);
            mark.setPosition(to, QTextCursor::KeepAnchor);
            mark.mergeCharFormat(matchFormat());
            matches.push_back({from, to - from});
        }
    }
    return matches;
}

QString sentDateTimeText(const Kerf::OleDate& sent) {
    const Kerf::DateTime dt = Kerf::Dates::fromOleDate(sent.m_dt);
    if (Kerf::Dates::isNoDate(dt))
        return QStringLiteral("(not sent)");
    const QDate date(dt.year, dt.month, dt.day);
    const QTime time(dt.hour, dt.minute, dt.second);
    const QLocale locale;
    // The long time format names the time zone ("t"), which a wall-clock
    // date from a message does not have.
    static const QRegularExpression zone(QStringLiteral("\\s*\\bt+\\b\\s*"));
    QString timeFormat = locale.timeFormat(QLocale::LongFormat);
    timeFormat.replace(zone, QStringLiteral(" "));
    return Kerf::QuireLib::shortDateText(date, locale) + QLatin1Char(' ') +
           locale.toString(time, timeFormat.trimmed());
}

QTextCharFormat matchFormat() {
    QTextCharFormat format;
    format.setBackground(QColor(255, 222, 89));
    format.setForeground(QColor(Qt::black));
    return format;
}

std::vector<PreviewMatch> fillPreview(QTextEdit& control,
                                      const Kerf::QuireLib::CEmailMetadata& record,
                                      const std::vector<Kerf::QuireLib::SearchWord>& words) {
    control.clear();
    control.document()->setUndoRedoEnabled(false);
    PreviewWriter writer(control, words);
    const std::pair<const char*, const wchar_t*> people[] = {
        {"From:\t\t", L"From"}, {"To:\t\t", L"To"}, {"Cc:\t\t", L"Cc"}, {"Bcc:\t\t", L"Bcc"}};
    for (const auto& [label, key] : people) {
        const std::wstring value = Kerf::QuireLib::peopleText(record, key);
        if (!value.empty())
            writer.line(QString::fromLatin1(label), QString::fromStdWString(value));
    }
    writer.line(QStringLiteral("Sent:\t\t"), sentDateTimeText(record.GetSentDate()));
    const std::wstring subject = record.GetStringValue(L"Subject");
    if (!subject.empty())
        writer.line(QStringLiteral("Subject:\t\t"), QString::fromStdWString(subject));
    QStringList attachments;
    for (const std::wstring& name : record.GetAttachmentNames())
        attachments << QString::fromStdWString(name);
    if (!attachments.isEmpty())
        writer.line(QStringLiteral("Attachments:\t"), attachments.join(QStringLiteral("; ")));
    writer.append(QStringLiteral("\n"), false);
    writer.appendValue(withPlainNewlines(record.GetStringValue(L"Body")));

    QTextCursor start(control.document());
    start.movePosition(QTextCursor::Start);
    control.setTextCursor(start);
    control.ensureCursorVisible();
    control.verticalScrollBar()->setValue(control.verticalScrollBar()->minimum());
    return writer.matches();
}
