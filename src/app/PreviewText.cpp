#include "app/PreviewText.h"

#include "controls/LocaleDates.h"
#include "support/DateTime.h"

#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>
#include <QScrollBar>
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

class PreviewWriter {
public:
    explicit PreviewWriter(QTextEdit& control) : m_cursor(control.document()) {}

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

    void line(const QString& label, const QString& value) {
        append(label, true);
        append(value, false);
        append(QStringLiteral("\n"), false);
    }

private:
    QTextCursor m_cursor;
};

} // namespace

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

void fillPreview(QTextEdit& control, const Kerf::QuireLib::CEmailMetadata& record) {
    control.clear();
    control.document()->setUndoRedoEnabled(false);
    PreviewWriter writer(control);
    const std::pair<const char*, const wchar_t*> people[] = {
        {"From:\t\t", L"From"}, {"To:\t\t", L"To"}, {"Cc:\t\t", L"Cc"}, {"Bcc:\t\t", L"Bcc"}};
    for (const auto& [label, key] : people) {
        const std::wstring value = record.GetStringValue(key);
        if (!value.empty())
            writer.line(QString::fromLatin1(label), QString::fromStdWString(value));
    }
    writer.line(QStringLiteral("Sent:\t\t"), sentDateTimeText(record.GetSentDate()));
    const std::wstring subject = record.GetStringValue(L"Subject");
    if (!subject.empty())
        writer.line(QStringLiteral("Subject:\t\t"), QString::fromStdWString(subject));
    writer.append(QStringLiteral("\n"), false);
    writer.append(withPlainNewlines(record.GetStringValue(L"Body")), false);

    QTextCursor start(control.document());
    start.movePosition(QTextCursor::Start);
    control.setTextCursor(start);
    control.ensureCursorVisible();
    control.verticalScrollBar()->setValue(control.verticalScrollBar()->minimum());
}
