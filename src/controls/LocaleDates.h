#pragma once
// Dates in the user's locale, but always with the century: a two-digit year
// cannot say which century a filed message belongs to.

#include <QDate>
#include <QLocale>
#include <QString>

namespace Kerf::QuireLib {

/// The locale's short date format with its year widened to four digits.
QString shortDateFormatWithCentury(const QLocale& locale = QLocale());

/// The day in that format.
QString shortDateText(const QDate& date, const QLocale& locale = QLocale());

} // namespace Kerf::QuireLib
