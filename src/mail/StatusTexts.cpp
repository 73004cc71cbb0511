#include "mail/StatusTexts.h"

#include <cmath>
#include <cwchar>

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

std::wstring matchesFound(std::size_t matches, std::int64_t elapsedSeconds) {
    return format(L"%zu matches found in ", matches) + elapsedTime(elapsedSeconds);
}

std::wstring foldersNotRead(std::size_t folders) {
    return format(L". %zu %ls could not be read", folders, folders == 1 ? L"folder" : L"folders");
}

std::wstring searchProgress(std::size_t matches, std::size_t messages, std::size_t directories) {
    return format(L"%zu %ls in %zu %ls from %zu %ls. Searching...", matches,
                  matches == 1 ? L"match" : L"matches", messages,
                  messages == 1 ? L"message" : L"messages", directories,
                  directories == 1 ? L"directory" : L"directories");
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
    return format(L"Indexed:%zu    Remaining:%zu    (%d%% Complete: ", indexed, remaining,
                  percent) +
           remainingTimeText + L" remaining)";
}

} // namespace Kerf::QuireLib::StatusTexts
