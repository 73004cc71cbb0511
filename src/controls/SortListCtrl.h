#pragma once
// The report-style list used for every list of the program: columns declared
// by one heading text, a sort text per cell that may differ from the text
// shown, sorting by a click on a heading (a second click reverses), and
// column widths kept per user and per list.

#include "controls/SortHeaderCtrl.h"
#include "controls/SortListModel.h"

#include <QMimeData>
#include <QTreeView>
#include <QVariant>

#include <functional>
#include <memory>

#include <set>
#include <string>
#include <vector>

namespace Kerf::QuireLib {

class CSortListCtrl : public QTreeView {
    Q_OBJECT
public:
    /// The identifier names the list's widths in the settings.
    explicit CSortListCtrl(int controlId, QWidget* parent = nullptr);

    int GetControlId() const { return m_iControlId; }

    /// Appends the columns of a text like "From,90;To,90;" (see HeadingText.h).
    bool SetHeadings(const std::wstring& spec);
    int GetColumnCount() const { return m_iNumColumns; }

    /// Adds a row of exactly one text per column, each both shown and sorted
    /// by, and returns its index.
    int AddItem(const std::vector<std::wstring>& texts);

    /// Changes only the shown text of a cell; the row still sorts by the text
    /// it was added with.
    bool SetItemDisplayText(int row, int column, const std::wstring& text);
    std::wstring GetItemText(int row, int column) const;
    std::wstring GetSortText(int row, int column) const;

    /// All rows, including those of a bulk add still in progress.
    int GetItemCount() const { return m_model->storedRowCount(); }

    /// A value of the owner's kept with the row, apart from its sort texts.
    void SetItemData(int row, const QVariant& value);
    QVariant GetItemData(int row) const;

    /// The icon shown before the first cell of every row.
    void SetRowIcon(const QIcon& icon);

    /// Marks a row as cut to the clipboard: it shows dimmed until removed.
    bool SetItemCut(int row, bool cut);
    bool IsItemCut(int row) const;

    bool DeleteItem(int row);
    bool DeleteAllItems();

    /// Sorts by the column in the direction and shows the arrow there.
    /// During a bulk add only the choice is recorded; the rows are sorted
    /// once when the bulk add finishes.
    void Sort(int column, bool ascending);
    /// The first click on this column's heading sorts it descending (newest
    /// first for dates); a second click reverses as for any column.
    void SetDescendingFirst(int column) { m_descendingFirst.insert(column); }
    /// The column's texts, when too long, lose their middle rather than
    /// their end (paths: both ends tell where), and their tooltip is the
    /// cell's sort text.
    void SetColumnElideMiddle(int column);
    int GetSortColumn() const { return m_iSortColumn; }
    bool IsSortAscending() const { return m_bSortAscending; }

    /// Bulk add: rows added in between reach the view in one insertion, and
    /// the list is sorted once at the end when a sort column is set.
    void startOptimisedAdd(int expectedCount);
    void finishOptimisedAdd();

    /// Restores the widths stored for this list, if any.
    void LoadColumnInfo();
    void SaveColumnInfo() const;

    int GetColumnWidth(int column) const;
    void SetColumnWidth(int column, int width);

    /// "Reset Columns" in the heading's context menu: the widths the list had
    /// before the stored ones were applied, in the declared order.
    void ResetColumns();

    /// The selected rows in list order.
    std::vector<int> GetSelectedItems() const;

    /// Lets rows be dragged out of the list: the function builds what a drag
    /// carries (null for nothing). Lists without it cannot be dragged from.
    void SetDragData(std::function<QMimeData*()> build);
    /// What a drag starting now would carry; null when nothing.
    std::unique_ptr<QMimeData> CreateDragData() const;

    CSortHeaderCtrl& GetHeaderCtrl() { return *m_ctlHeader; }
    CSortListModel& GetListModel() { return *m_model; }

signals:
    /// After every sort that reordered the rows (from a heading click too).
    void sorted(int column, bool ascending);

protected:
    void startDrag(Qt::DropActions supportedActions) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void OnHeadingClicked(int column);
    /// Shares the list's width among the shown columns in the proportions
    /// of their declared widths, the last taking what is left.
    void fitColumnsToWidth();

    CSortHeaderCtrl* m_ctlHeader;
    CSortListModel* m_model;
    int m_iControlId;
    std::vector<int> m_defaultWidths;
    std::function<QMimeData*()> m_buildDragData;
    int m_iNumColumns = 0;
    int m_iSortColumn = -1;
    bool m_bSortAscending = true;
    std::set<int> m_descendingFirst;
    /// Until the user sets a width, the columns fill the list's width.
    bool m_bFitToWidth = false;
    bool m_bFitting = false;
};

} // namespace Kerf::QuireLib
