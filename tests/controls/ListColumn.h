#pragma once
// The shown texts of one column, top to bottom.

#include "controls/SortListCtrl.h"

#include <string>
#include <vector>

inline std::vector<std::wstring> column(const Kerf::QuireLib::CSortListCtrl& list, int col) {
    std::vector<std::wstring> texts;
    for (int row = 0; row < list.GetItemCount(); ++row)
        texts.push_back(list.GetItemText(row, col));
    return texts;
}
