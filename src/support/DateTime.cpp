#include "support/DateTime.h"

#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace Kerf::Dates {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
// 30 December 1899 counted from 1 January 1970.
const std::int64_t kOleEpochDays = daysFromCivil(1899, 12, 30);

int daysInMonth(int year, int month) {
    static const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month == 2) {
        const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
        return leap ? 29 : 28;
    }
    return days[month - 1];
}

} // namespace

// Howard Hinnant's days_from_civil / civil_from_days.
std::int64_t daysFromCivil(int year, int month, int day) {
    const std::int64_t y = static_cast<std::int64_t>(year) - (month <= 2 ? 1 : 0);
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const std::int64_t yoe = y - era * 400;
    const std::int64_t mp = (month + 9) % 12;
    const std::int64_t doy = (153 * mp + 2) / 5 + day - 1;
    const std::int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

void civilFromDays(std::int64_t z, int& year, int& month, int& day) {
    z += 719468;
    const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const std::int64_t doe = z - era * 146097;
    const std::int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const std::int64_t y = yoe + era * 400;
    const std::int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const std::int64_t mp = (5 * doy + 2) / 153;
    day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    year = static_cast<int>(y + (month <= 2 ? 1 : 0));
}

DateTime fromOleDate(double oleDate) {
    if (!std::isfinite(oleDate))
        oleDate = 0.0;
    double whole = std::trunc(oleDate);
    std::int64_t seconds = std::llround(std::fabs(oleDate - whole) * kSecondsPerDay);
    std::int64_t days = static_cast<std::int64_t>(whole);
    if (seconds >= kSecondsPerDay) {
        seconds -= kSecondsPerDay;
        days += 1;
    }
    DateTime dt;
    civilFromDays(kOleEpochDays + days, dt.year, dt.month, dt.day);
    dt.hour = static_cast<int>(seconds / 3600);
    dt.minute = static_cast<int>((seconds / 60) % 60);
    dt.second = static_cast<int>(seconds % 60);
    return dt;
}

double toOleDate(const DateTime& dt) {
    const std::int64_t days = daysFromCivil(dt.year, dt.month, dt.day) - kOleEpochDays;
    const double fraction =
        static_cast<double>(dt.hour * 3600 + dt.minute * 60 + dt.second) / kSecondsPerDay;
    // Before the epoch the day count is negative but the time still runs forward.
    return days >= 0 ? static_cast<double>(days) + fraction : static_cast<double>(days) - fraction;
}

std::string toIndexText(const DateTime& dt) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%04d%02d%02d%02d%02d%02d", dt.year, dt.month, dt.day,
                  dt.hour, dt.minute, dt.second);
    return buffer;
}

DateTime fromIndexText(const std::string& text) {
    if (text.size() != 14)
        throw std::invalid_argument("date text is not 14 digits: \"" + text + "\"");
    for (char c : text)
        if (c < '0' || c > '9')
            throw std::invalid_argument("date text is not 14 digits: \"" + text + "\"");
    auto field = [&](size_t pos, size_t len) { return std::stoi(text.substr(pos, len)); };
    DateTime dt{field(0, 4), field(4, 2), field(6, 2), field(8, 2), field(10, 2), field(12, 2)};
    if (!isValid(dt))
        throw std::invalid_argument("date text is not a valid date: \"" + text + "\"");
    return dt;
}

bool isValid(const DateTime& dt) {
    return dt.month >= 1 && dt.month <= 12 && dt.day >= 1 &&
           dt.day <= daysInMonth(dt.year, dt.month) && dt.hour >= 0 && dt.hour < 24 &&
           dt.minute >= 0 && dt.minute < 60 && dt.second >= 0 && dt.second < 60;
}

bool isNoDate(const DateTime& dt) {
    return dt == DateTime{};
}

DateTime fromUnixLocal(std::int64_t secondsUtc) {
    const std::time_t t = static_cast<std::time_t>(secondsUtc);
    std::tm tm{};
    if (localtime_r(&t, &tm) == nullptr) {
        // Outside what the C library can express: fall back to UTC arithmetic.
        DateTime dt;
        const std::int64_t days =
            (secondsUtc >= 0 ? secondsUtc : secondsUtc - (kSecondsPerDay - 1)) / kSecondsPerDay;
        const std::int64_t rest = secondsUtc - days * kSecondsPerDay;
        civilFromDays(days, dt.year, dt.month, dt.day);
        dt.hour = static_cast<int>(rest / 3600);
        dt.minute = static_cast<int>((rest / 60) % 60);
        dt.second = static_cast<int>(rest % 60);
        return dt;
    }
    return DateTime{tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec};
}

std::int64_t toUnixLocal(const DateTime& local) {
    std::tm tm{};
    tm.tm_year = local.year - 1900;
    tm.tm_mon = local.month - 1;
    tm.tm_mday = local.day;
    tm.tm_hour = local.hour;
    tm.tm_min = local.minute;
    tm.tm_sec = local.second;
    tm.tm_isdst = -1;
    const std::time_t t = mktime(&tm);
    if (t == static_cast<std::time_t>(-1) && !(local.year == 1969 || local.year == 1970))
        return (daysFromCivil(local.year, local.month, local.day) * kSecondsPerDay) +
               local.hour * 3600 + local.minute * 60 + local.second;
    return static_cast<std::int64_t>(t);
}

double oleDateFromFileTime(std::uint64_t fileTime) {
    // 11644473600 seconds lie between 1601-01-01 and 1970-01-01.
    const std::int64_t secondsUtc =
        static_cast<std::int64_t>(fileTime / 10000000ULL) - 11644473600LL;
    return toOleDate(fromUnixLocal(secondsUtc));
}

DateTime withTime(DateTime date, int hour, int minute, int second) {
    date.hour = hour;
    date.minute = minute;
    date.second = second;
    return date;
}

} // namespace Kerf::Dates
