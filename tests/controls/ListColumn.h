#pragma once
// The texts of one list column, top to bottom, the column widths, and a click on a heading.

#include "controls/SortListCtrl.h"

#include <QTest>

#include <string>
#include <vector>

inline std::vector<std::wstring> column(const Kerf::QuireLib::CSortListCtrl& list, int col,
                                        bool sortTexts = false) {
    std::vector<std::wstring> texts;
    for (int row = 0; row < list.GetItemCount(); ++row)
        texts.push_back(sortTexts ? list.GetSortText(row, col) : list.GetItemText(row, col));
    return texts;
}

inline std::vector<int> widths(const Kerf::QuireLib::CSortListCtrl& list) {
    std::vector<int> w;
    for (int c = 0; c < list.GetColumnCount(); ++c)
        w.push_back(list.GetColumnWidth(c));
    return w;
}

inline void clickHeading(Kerf::QuireLib::CSortListCtrl& list, int col) {
    auto& header = list.GetHeaderCtrl();
    const QPoint centre(header.sectionViewportPosition(col) + header.sectionSize(col) / 2,
                        header.height() / 2);
    QTest::mouseClick(header.viewport(), Qt::LeftButton, {}, centre);
}
