#pragma once
// The heading row of a sortable list: shows the sort arrow on the sorted
// column and turns the column widths into bytes and back, so that a list
// keeps its widths per user.

#include <QByteArray>
#include <QHeaderView>

namespace Kerf::QuireLib {

class CSortHeaderCtrl : public QHeaderView {
    Q_OBJECT
public:
    explicit CSortHeaderCtrl(QWidget* parent = nullptr);

    /// The arrow on the column in the direction; a column of -1 shows none.
    void SetSortArrow(int column, bool ascending);

    /// A width of 0 is a hidden column.
    int GetColumnWidth(int column) const;
    void SetColumnWidth(int column, int width);

    /// The narrowest a shown column can be made: room for the first letters
    /// of its heading, so that no column disappears by being dragged shut.
    int minimumColumnWidth(int column) const;

    /// The column count, then each width, as 32-bit integers.
    QByteArray SaveWidths() const;
    /// Applies stored widths. Widths stored for another column count, or
    /// bytes too short for their count, are traced and ignored (false), so
    /// that widths of another program version never land on the wrong columns.
    /// A stored width of 0 for a shown column (dragged shut before there was
    /// a minimum) gives it its minimum width.
    bool RestoreWidths(const QByteArray& stored);

private:
    void keepMinimumWidth(int column, int oldWidth, int newWidth);

    bool m_bWidening = false;
};

} // namespace Kerf::QuireLib
