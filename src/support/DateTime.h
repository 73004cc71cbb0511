#pragma once
// Dates as the program keeps them. An automation date (OleDate) is a day count
// from 30 December 1899 in local wall-clock time; a DateTime is the same
// wall-clock moment split into calendar fields. The index stores dates as the
// 14-digit text "YYYYMMDDhhmmss" of that wall-clock time; one conversion is
// used for writing and reading so a date survives the round trip exactly,
// whatever the time zone and however far from 1970 it lies.

#include <cstdint>
#include <ctime>
#include <string>

namespace Kerf {

struct DateTime {
    int year = 1899;
    int month = 12;
    int day = 30;
    int hour = 0;
    int minute = 0;
    int second = 0;

    friend bool operator==(const DateTime&, const DateTime&) = default;
    friend auto operator<=>(const DateTime&, const DateTime&) = default;
};

struct OleDate {
    enum Status { valid, invalid };
    double m_dt = 0.0;
    Status m_status = valid;

    Status GetStatus() const { return m_status; }
    friend bool operator==(const OleDate&, const OleDate&) = default;
};

namespace Dates {

/// Days from 1970-01-01 of a proleptic Gregorian calendar date.
std::int64_t daysFromCivil(int year, int month, int day);
/// The calendar date of a day number from 1970-01-01.
void civilFromDays(std::int64_t days, int& year, int& month, int& day);

/// Automation-date semantics: whole days from 30 December 1899, the fraction
/// (taken as positive also for negative day counts) is the time of day,
/// rounded to the second.
DateTime fromOleDate(double oleDate);
double toOleDate(const DateTime& dateTime);

/// 14 digits, year to second. Years below 1000 are zero-padded so that the
/// texts still order as the dates do.
std::string toIndexText(const DateTime& dateTime);
/// The reverse; throws std::invalid_argument for anything but 14 digits that
/// form a real date and time.
DateTime fromIndexText(const std::string& text);

/// A moment (seconds since 1970 UTC) as local wall-clock time, and back.
DateTime fromUnixLocal(std::int64_t secondsUtc);
std::int64_t toUnixLocal(const DateTime& local);

/// A Windows FILETIME (100 ns ticks since 1601 UTC) as a local automation date.
double oleDateFromFileTime(std::uint64_t fileTime);

/// The date with the time of day replaced.
DateTime withTime(DateTime date, int hour, int minute, int second);

bool isValid(const DateTime& dateTime);

/// The zero automation date (30 December 1899, midnight) is what a message
/// that was never sent carries: it means "no date", not a day to show.
bool isNoDate(const DateTime& dateTime);

} // namespace Dates
} // namespace Kerf
