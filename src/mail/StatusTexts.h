#pragma once
// The texts the search cycle shows in the status line. Singular words are
// used exactly when the number is 1; counts carry the thousands separator of
// the locale the program runs in (LC_NUMERIC), none in the C locale.

#include <cstddef>
#include <cstdint>
#include <string>

namespace Kerf::QuireLib::StatusTexts {

/// How long a search took: "less than 1 second", "59 seconds",
/// "1 minute 1 second", "1 hour 0 minutes." (only the hour form ends with a full stop).
std::wstring elapsedTime(std::int64_t seconds);

/// The digits of n in groups as the grouping rule of localeconv() says:
/// each byte the size of the next group from the right, the last repeated.
std::wstring groupDigits(std::size_t n, const std::wstring& separator, const std::string& grouping);
/// n with the current locale's thousands separator.
std::wstring count(std::size_t n);

/// "%d match(es) found in %s".
std::wstring matchesFound(std::size_t matches, std::int64_t elapsedSeconds);

/// What a search stopped before its end found, and what it did not get to:
/// "Stopped: %d match(es) in the %d message(s) searched so far; %d not yet searched".
std::wstring stoppedEarly(std::size_t matches, std::size_t searched, std::size_t notSearched);

/// ". %d folder(s) could not be read", added to the final status when the
/// walk had to pass folders over (their messages keep the rows they had).
std::wstring foldersNotRead(std::size_t folders);

/// "%d match(es) in %d message(s) from %d director(y|ies). Searching..."
std::wstring searchProgress(std::size_t matches, std::size_t messages, std::size_t directories);

/// The running status is refreshed on every tenth match, and always when forced.
bool shouldShowSearchProgress(std::size_t matches, bool force);

/// The estimate of the time left: "%d hour(s), %d minute(s)", "%d minute(s), %d second(s)"
/// or "%d second(s)".
std::wstring remainingTime(double elapsedSeconds, std::size_t indexed, std::size_t remaining);

/// "Indexed:%u    Remaining:%u    (%d%% Complete: %s remaining)".
std::wstring indexingProgress(std::size_t indexed, std::size_t remaining,
                              const std::wstring& remainingTimeText);

/// "Indexing stopped: %s", what the status reads after a failure ended the indexing.
std::wstring indexingStopped(const std::wstring& reason);

extern const wchar_t* const kSearching;
/// While a stopped run's threads come to their end.
extern const wchar_t* const kStopping;
extern const wchar_t* const kIndexRebuilt;
extern const wchar_t* const kNoLocations;
extern const wchar_t* const kDisplayingResults;

} // namespace Kerf::QuireLib::StatusTexts
