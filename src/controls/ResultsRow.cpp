#include "controls/ResultsRow.h"

#include "controls/LocaleDates.h"
#include "controls/SortListCtrl.h"
#include "support/Assert.h"

#include <QDate>

#include <cmath>
#include <cstdio>
#include <limits>

namespace Kerf::QuireLib::ResultsRow {
namespace {

std::wstring widen(const char* ascii) {
    return std::wstring(ascii, ascii + std::char_traits<char>::length(ascii));
}

} // namespace

int numberFieldWidth() {
    static const int width =
        static_cast<int>(std::log10(std::numeric_limits<std::int32_t>::max())) + 1;
    return width;
}

std::wstring paddedNumber(std::int32_t value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%*d", numberFieldWidth(), static_cast<int>(value));
    return widen(buffer);
}

std::wstring sentDisplayText(const DateTime& sent) {
    if (Dates::isNoDate(sent))
        return {};
    return shortDateText(QDate(sent.year, sent.month, sent.day)).toStdWString();
}

std::wstring sizeDisplayText(std::int32_t bytes) {
    return std::to_wstring(bytes / 1024) + L" KB";
}

std::wstring directoryOf(const std::wstring& location) {
    const size_t slash = location.rfind(L'/');
    return slash == std::wstring::npos ? std::wstring() : location.substr(0, slash + 1);
}

std::wstring basenameOf(const std::wstring& location) {
    const size_t slash = location.rfind(L'/');
    return slash == std::wstring::npos ? location : location.substr(slash + 1);
}

std::wstring folderDisplayText(const std::wstring& directory, const std::vector<Place>& places) {
    const Place* best = nullptr;
    std::size_t bestLength = 0;
    for (const Place& place : places) {
        std::wstring root = place.path;
        while (root.size() > 1 && root.back() == L'/')
            root.pop_back();
        const bool holds =
            directory.starts_with(root) &&
            (directory.size() == root.size() || directory[root.size()] == L'/' || root == L"/");
        if (holds && root.size() >= bestLength) {
            best = &place;
            bestLength = root.size();
        }
    }
    if (best == nullptr)
        return directory;
    std::wstring name = best->name;
    if (name.empty()) {
        const std::wstring root = directory.substr(0, bestLength);
        name = root == L"/" ? root : basenameOf(root);
    }
    std::wstring below = directory.substr(bestLength);
    while (!below.empty() && below.front() == L'/')
        below.erase(0, 1);
    return name + (name.ends_with(L'/') ? L"" : L"/") + below;
}

Texts buildTexts(const Hit& hit) {
    Texts t;
    t.display[From] = t.sort[From] = hit.from;
    t.display[To] = t.sort[To] = hit.to;
    t.display[Subject] = hit.subject;
    // A message whose subject has no normalised form sorts by its subject
    // among the others, not before them all.
    t.sort[Subject] = hit.normalisedSubject.empty() ? hit.subject : hit.normalisedSubject;

    const bool validDate = Dates::isValid(hit.sent);
    KERF_ASSERT(validDate);
    // A message never sent has no date: an empty cell, and an empty sort
    // text puts it before every dated message.
    if (validDate && !Dates::isNoDate(hit.sent)) {
        t.display[Sent] = sentDisplayText(hit.sent);
        t.sort[Sent] = widen(Dates::toIndexText(hit.sent).c_str());
    }

    if (hit.attachments > 0)
        t.display[Attachments] = std::to_wstring(hit.attachments);
    t.sort[Attachments] = paddedNumber(hit.attachments);

    t.display[Size] = sizeDisplayText(hit.size);
    t.sort[Size] = paddedNumber(hit.size);

    t.display[Folder] = t.sort[Folder] = directoryOf(hit.location);
    t.display[Filename] = t.sort[Filename] = basenameOf(hit.location);
    return t;
}

int insertRow(CSortListCtrl& list, const Texts& texts) {
    const int row = list.AddItem(std::vector<std::wstring>(texts.sort.begin(), texts.sort.end()));
    for (Column column : {Subject, Sent, Attachments, Size})
        list.SetItemDisplayText(row, column, texts.display[column]);
    if (texts.display[Folder] != texts.sort[Folder])
        list.SetItemDisplayText(row, Folder, texts.display[Folder]);
    return row;
}

std::wstring itemDirectory(const CSortListCtrl& list, int row) {
    return list.GetSortText(row, Folder); // the shown text may be shortened
}

std::wstring itemBasename(const CSortListCtrl& list, int row) {
    return list.GetItemText(row, Filename);
}

std::wstring itemPath(const CSortListCtrl& list, int row) {
    return itemDirectory(list, row) + itemBasename(list, row);
}

} // namespace Kerf::QuireLib::ResultsRow
