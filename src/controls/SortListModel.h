#pragma once
// The rows of a sortable list. Every cell keeps two texts: the one shown and
// the one the rows are ordered by (a date shown in the user's short form sorts
// by its 14-digit text, a number by its padded text). Rows are plain vectors
// so that tens of thousands of them fill and sort quickly.
//
// For bulk filling, rows appended between beginBulkAppend() and
// endBulkAppend() stay invisible to views until the end, where they are
// announced in one insertion.

#include <QAbstractTableModel>
#include <QIcon>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <set>
#include <vector>

namespace Kerf::QuireLib {

class CSortListModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit CSortListModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    /// Rows can be dragged where the view allows it.
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

    /// Appends a column; existing rows get an empty cell for it.
    void appendColumn(const QString& name);

    /// Appends a row whose texts are both shown and sorted by; returns its
    /// index. Missing texts are empty, surplus ones dropped.
    int appendRow(const QStringList& texts);

    /// Every row held, including those of a bulk append not yet announced.
    int storedRowCount() const { return static_cast<int>(m_rows.size()); }
    bool isRow(int row) const { return row >= 0 && row < storedRowCount(); }
    bool isCell(int row, int column) const;

    /// Changes only the shown text; the sort text stays.
    void setDisplayText(int row, int column, const QString& text);
    QString displayText(int row, int column) const;
    QString sortText(int row, int column) const;

    /// A value the owner keeps with a row (the sort texts are not the place).
    void setUserData(int row, const QVariant& value);
    QVariant userData(int row) const;

    /// The column's cells show their sort text as their tooltip (a full
    /// path where the cell shows a shorter one).
    void setSortTextAsToolTip(int column);

    /// Shown before the first cell of every row.
    void setRowIcon(const QIcon& icon);

    /// A row marked cut is shown dimmed until it is removed.
    void setRowCut(int row, bool cut);
    bool isRowCut(int row) const;

    void removeRowAt(int row);
    void removeAllRows();

    void beginBulkAppend(int expectedCount);
    void endBulkAppend();
    bool inBulkAppend() const { return m_bulk; }

    /// Orders the rows by the sort texts of the column with the locale's
    /// case-sensitive collation. Equal texts keep their relative order.
    /// Persistent indexes (selection, current row) follow their rows.
    void sortByColumn(int column, bool ascending);

private:
    struct Cell {
        QString sort;
        QString display;
    };
    struct Row {
        std::vector<Cell> cells;
        QVariant userData;
        bool cut = false;
    };

    std::vector<QString> m_columns;
    std::vector<Row> m_rows;
    int m_shownRows = 0; // rows the views know about
    bool m_bulk = false;
    QIcon m_rowIcon;
    QIcon m_cutRowIcon; // the row icon in its disabled look
    std::set<int> m_sortTextTips;
};

} // namespace Kerf::QuireLib
