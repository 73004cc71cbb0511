#pragma once
// The rows of the results list: one per matching message, eight columns,
// each cell with the text shown and the text it sorts by. Numbers sort by a
// right-aligned text of one width, dates by their 14-digit text, the subject
// by the normalised subject (the subject where it has none) so that replies
// and forwards sort with their original.

#include "support/DateTime.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace Kerf::QuireLib {

class CSortListCtrl;

namespace ResultsRow {

inline constexpr const wchar_t* kHeadings =
    L"From,90;To,90;Subject,150;Sent,50;Attachments,20;Size,50;Folder,90;Filename,90";

enum Column { From, To, Subject, Sent, Attachments, Size, Folder, Filename, ColumnCount };

/// What the results list shows of one matching message.
struct Hit {
    std::wstring from;
    std::wstring to;
    std::wstring subject;
    std::wstring normalisedSubject;
    std::wstring location; // the message file's full path
    DateTime sent;         // must be a real date; the zero date means "not sent"
    std::int32_t size = 0;
    std::int32_t attachments = 0;
};

struct Texts {
    std::array<std::wstring, ColumnCount> display;
    std::array<std::wstring, ColumnCount> sort;
};

/// Decimal digits of the largest 32-bit signed number: every padded number
/// has this width.
int numberFieldWidth();
/// The number right-aligned in numberFieldWidth() characters.
std::wstring paddedNumber(std::int32_t value);

/// The date part only, in the user's locale's short form with a four-digit
/// year; empty for a message never sent.
std::wstring sentDisplayText(const DateTime& sent);
/// Whole kilobytes (rounded down) and " KB".
std::wstring sizeDisplayText(std::int32_t bytes);

/// The folder part of a path, ending with the separator, and the file name.
std::wstring directoryOf(const std::wstring& location);
std::wstring basenameOf(const std::wstring& location);

/// A place searched and the name it goes by in the list: the filing
/// location's reference, or empty for the folder's own name.
struct Place {
    std::wstring path;
    std::wstring name;
};
/// What the Folder column shows of a directory: the place it lies in (the
/// deepest that holds it) by its name, then the path below it, so that rows
/// do not all begin with the same long prefix. A directory outside every
/// place shows as it is.
std::wstring folderDisplayText(const std::wstring& directory, const std::vector<Place>& places);

Texts buildTexts(const Hit& hit);

/// Adds the row with its sort texts, then shows the display texts where they
/// differ; returns the row's index.
int insertRow(CSortListCtrl& list, const Texts& texts);

/// The row's folder (its full path, ending with the separator) and file
/// name, and the path they make together.
std::wstring itemDirectory(const CSortListCtrl& list, int row);
std::wstring itemBasename(const CSortListCtrl& list, int row);
std::wstring itemPath(const CSortListCtrl& list, int row);

} // namespace ResultsRow
} // namespace Kerf::QuireLib
