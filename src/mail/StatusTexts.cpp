#include "mail/StatusTexts.h"

#include "support/Strings.h"

#include <clocale>
#include <cmath>
#include <cwchar>
#include <vector>

namespace Kerf::QuireLib::StatusTexts {

const wchar_t* const kSearching = L"Searching...";
const wchar_t* const kStopping = L"Stopping...";
const wchar_t* const kIndexRebuilt = L"The index was damaged and is being rebuilt";
const wchar_t* const kNoLocations = L"No search location(s) selected";
const wchar_t* const kDisplayingResults = L"Displaying results from index...";

namespace {

const wchar_t* plural(long long n) {
    return n == 1 ? L"" : L"s";
}

template <typename... Args> std::wstring format(const wchar_t* pattern, Args... args) {
    wchar_t buffer[256];
    const int n = std::swprintf(buffer, sizeof buffer / sizeof buffer[0], pattern, args...);
    return n < 0 ? std::wstring() : std::wstring(buffer, static_cast<size_t>(n));
}

} // namespace

std::wstring elapsedTime(std::int64_t t) {
    const long long h = t / 3600;
    const long long m = t / 60;
    if (h > 0)
        return format(L"%lld hour%ls %lld minute%ls.", h, plural(h), m - 60 * h,
                      plural(m - 60 * h));
    if (m > 0)
        return format(L"%lld minute%ls %lld second%ls", m, plural(m), t - 60 * m,
                      plural(t - 60 * m));
    if (t > 0)
        return format(L"%lld second%ls", static_cast<long long>(t), plural(t));
    return L"less than 1 second";
}

std::wstring indexingStopped(const std::wstring& reason) {
    return L"Indexing stopped: " + reason;
}

std::wstring groupDigits(std::size_t n, const std::wstring& separator,
                         const std::string& grouping) {
    const std::wstring digits = std::to_wstring(n);
    if (separator.empty() || grouping.empty())
        return digits;
    // Groups from the right; a group size of 0 repeats the one before, and
    // CHAR_MAX (or a size past the digits) ends the grouping.
    std::vector<std::size_t> cuts;
    std::size_t end = digits.size();
    std::size_t size = 0;
    for (std::size_t i = 0;; ++i) {
        if (i < grouping.size() && grouping[i] != 0)
            size = static_cast<unsigned char>(grouping[i]);
        if (size == 0 || size >= 127 || end <= size)
            break;
        end -= size;
        cuts.push_back(end);
    }
    std::wstring grouped = digits;
    for (const std::size_t cut : cuts) // right to left: earlier cuts stay valid
        grouped.insert(cut, separator);
    return grouped;
}

std::wstring count(std::size_t n) {
    const std::lconv* conventions = std::localeconv();
    if (conventions == nullptr || conventions->thousands_sep == nullptr ||
        conventions->grouping == nullptr)
        return std::to_wstring(n);
    return groupDigits(n, Util::toWide(conventions->thousands_sep), conventions->grouping);
}

std::wstring matchesFound(std::size_t matches, std::int64_t elapsedSeconds) {
    return count(matches) + (matches == 1 ? L" match found in " : L" matches found in ") +
           elapsedTime(elapsedSeconds);
}

std::wstring stoppedEarly(std::size_t matches, std::size_t searched, std::size_t notSearched) {
    return L"Stopped: " + count(matches) + (matches == 1 ? L" match" : L" matches") + L" in the " +
           count(searched) + (searched == 1 ? L" message" : L" messages") + L" searched so far; " +
           count(notSearched) + L" not yet searched";
}

std::wstring foldersNotRead(std::size_t folders) {
    return L". " + count(folders) + (folders == 1 ? L" folder" : L" folders") +
           L" could not be read";
}

std::wstring searchProgress(std::size_t matches, std::size_t messages, std::size_t directories) {
    return count(matches) + (matches == 1 ? L" match in " : L" matches in ") + count(messages) +
           (messages == 1 ? L" message from " : L" messages from ") + count(directories) +
           (directories == 1 ? L" directory. Searching..." : L" directories. Searching...");
}

bool shouldShowSearchProgress(std::size_t matches, bool force) {
    return force || matches % 10 == 0;
}

std::wstring remainingTime(double elapsedSeconds, std::size_t indexed, std::size_t remaining) {
    // Nothing indexed yet gives no rate to estimate from: show no time left.
    const double perItem = indexed == 0 ? 0.0 : elapsedSeconds / static_cast<double>(indexed);
    const double remainingSeconds = static_cast<double>(remaining) * perItem;
    const long long whole = static_cast<long long>(remainingSeconds);
    const long long totalMinutes = whole / 60;
    const long long seconds =
        static_cast<long long>(remainingSeconds - static_cast<double>(totalMinutes * 60));
    const long long hours = totalMinutes / 60;
    const long long minutes = totalMinutes - hours * 60;
    if (hours > 0)
        return format(L"%lld hour%ls, %lld minute%ls", hours, plural(hours), minutes,
                      plural(minutes));
    if (totalMinutes > 0)
        return format(L"%lld minute%ls, %lld second%ls", totalMinutes, plural(totalMinutes),
                      seconds, plural(seconds));
    return format(L"%lld second%ls", seconds, plural(seconds));
}

std::wstring indexingProgress(std::size_t indexed, std::size_t remaining,
                              const std::wstring& remainingTimeText) {
    const std::size_t total = indexed + remaining;
    const int percent =
        total == 0
            ? 0
            : static_cast<int>(static_cast<double>(indexed) / static_cast<double>(total) * 100.0);
    return L"Indexed:" + count(indexed) + L"    Remaining:" + count(remaining) +
           format(L"    (%d%% Complete: ", percent) + remainingTimeText + L" remaining)";
}

} // namespace Kerf::QuireLib::StatusTexts
