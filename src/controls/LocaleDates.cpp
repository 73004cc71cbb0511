#include "controls/LocaleDates.h"

namespace Kerf::QuireLib {

QString shortDateFormatWithCentury(const QLocale& locale) {
    const QString format = locale.dateFormat(QLocale::ShortFormat);
    QString widened;
    bool quoted = false; // text between single quotes is literal
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format[i];
        if (c == QLatin1Char('\''))
            quoted = !quoted;
        if (quoted || c != QLatin1Char('y')) {
            widened += c;
            continue;
        }
        while (i + 1 < format.size() && format[i + 1] == QLatin1Char('y'))
            ++i;
        widened += QLatin1String("yyyy");
    }
    return widened;
}

QString shortDateText(const QDate& date, const QLocale& locale) {
    return locale.toString(date, shortDateFormatWithCentury(locale));
}

} // namespace Kerf::QuireLib
