#include "controls/SortListModel.h"

#include "support/Assert.h"

#include <QApplication>
#include <QCollator>
#include <QCollatorSortKey>
#include <QLocale>
#include <QPalette>

#include <algorithm>
#include <numeric>

namespace Kerf::QuireLib {

CSortListModel::CSortListModel(QObject* parent) : QAbstractTableModel(parent) {}

int CSortListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_shownRows;
}

int CSortListModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_columns.size());
}

bool CSortListModel::isCell(int row, int column) const {
    return isRow(row) && column >= 0 && column < static_cast<int>(m_columns.size());
}

QVariant CSortListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_shownRows || !isCell(index.row(), index.column()))
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return m_rows[static_cast<size_t>(index.row())]
            .cells[static_cast<size_t>(index.column())]
            .display;
    case Qt::DecorationRole:
        if (index.column() == 0 && !m_rowIcon.isNull())
            return m_rows[static_cast<size_t>(index.row())].cut ? m_cutRowIcon : m_rowIcon;
        return {};
    case Qt::ToolTipRole:
        if (m_sortTextTips.contains(index.column()))
            return m_rows[static_cast<size_t>(index.row())]
                .cells[static_cast<size_t>(index.column())]
                .sort;
        return {};
    case Qt::ForegroundRole:
        if (m_rows[static_cast<size_t>(index.row())].cut)
            return QApplication::palette().brush(QPalette::Disabled, QPalette::Text);
        return {};
    default:
        return {};
    }
}

Qt::ItemFlags CSortListModel::flags(const QModelIndex& index) const {
    return QAbstractTableModel::flags(index) | Qt::ItemIsDragEnabled;
}

QVariant CSortListModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section < 0 ||
        section >= static_cast<int>(m_columns.size()))
        return {};
    if (role == Qt::DisplayRole)
        return m_columns[static_cast<size_t>(section)];
    if (role == Qt::TextAlignmentRole)
        return QVariant::fromValue(Qt::Alignment(Qt::AlignLeft | Qt::AlignVCenter));
    return {};
}

void CSortListModel::appendColumn(const QString& name) {
    const int column = static_cast<int>(m_columns.size());
    beginInsertColumns(QModelIndex(), column, column);
    m_columns.push_back(name);
    for (Row& row : m_rows)
        row.cells.emplace_back();
    endInsertColumns();
}

int CSortListModel::appendRow(const QStringList& texts) {
    Row row;
    row.cells.resize(m_columns.size());
    const size_t given = std::min(m_columns.size(), static_cast<size_t>(texts.size()));
    for (size_t i = 0; i < given; ++i) {
        row.cells[i].sort = texts[static_cast<qsizetype>(i)];
        row.cells[i].display = row.cells[i].sort; // shared, not copied
    }
    const int index = storedRowCount();
    if (m_bulk) {
        m_rows.push_back(std::move(row));
        return index;
    }
    beginInsertRows(QModelIndex(), index, index);
    m_rows.push_back(std::move(row));
    m_shownRows = storedRowCount();
    endInsertRows();
    return index;
}

void CSortListModel::setDisplayText(int row, int column, const QString& text) {
    if (!isCell(row, column))
        return;
    m_rows[static_cast<size_t>(row)].cells[static_cast<size_t>(column)].display = text;
    if (row < m_shownRows) {
        const QModelIndex cell = index(row, column);
        emit dataChanged(cell, cell, {Qt::DisplayRole});
    }
}

QString CSortListModel::displayText(int row, int column) const {
    if (!isCell(row, column))
        return {};
    return m_rows[static_cast<size_t>(row)].cells[static_cast<size_t>(column)].display;
}

QString CSortListModel::sortText(int row, int column) const {
    if (!isCell(row, column))
        return {};
    return m_rows[static_cast<size_t>(row)].cells[static_cast<size_t>(column)].sort;
}

void CSortListModel::setUserData(int row, const QVariant& value) {
    if (isRow(row))
        m_rows[static_cast<size_t>(row)].userData = value;
}

QVariant CSortListModel::userData(int row) const {
    return isRow(row) ? m_rows[static_cast<size_t>(row)].userData : QVariant();
}

void CSortListModel::setSortTextAsToolTip(int column) {
    m_sortTextTips.insert(column);
}

void CSortListModel::setRowIcon(const QIcon& icon) {
    m_rowIcon = icon;
    m_cutRowIcon = QIcon();
    for (const QSize& size : icon.availableSizes())
        m_cutRowIcon.addPixmap(icon.pixmap(size, QIcon::Disabled));
    if (m_cutRowIcon.isNull())
        m_cutRowIcon.addPixmap(icon.pixmap(QSize(16, 16), QIcon::Disabled));
    if (m_shownRows > 0 && !m_columns.empty())
        emit dataChanged(index(0, 0), index(m_shownRows - 1, 0), {Qt::DecorationRole});
}

void CSortListModel::setRowCut(int row, bool cut) {
    if (!isRow(row))
        return;
    m_rows[static_cast<size_t>(row)].cut = cut;
    if (row < m_shownRows && !m_columns.empty())
        emit dataChanged(index(row, 0), index(row, columnCount() - 1),
                         {Qt::DecorationRole, Qt::ForegroundRole});
}

bool CSortListModel::isRowCut(int row) const {
    return isRow(row) && m_rows[static_cast<size_t>(row)].cut;
}

void CSortListModel::removeRowAt(int row) {
    if (!isRow(row))
        return;
    const bool shown = row < m_shownRows;
    if (shown)
        beginRemoveRows(QModelIndex(), row, row);
    m_rows.erase(m_rows.begin() + row);
    if (shown) {
        --m_shownRows;
        endRemoveRows();
    }
}

void CSortListModel::removeAllRows() {
    beginResetModel();
    m_rows.clear();
    m_rows.shrink_to_fit();
    m_shownRows = 0;
    endResetModel();
}

void CSortListModel::beginBulkAppend(int expectedCount) {
    m_bulk = true;
    if (expectedCount > 0)
        m_rows.reserve(m_rows.size() + static_cast<size_t>(expectedCount));
}

void CSortListModel::endBulkAppend() {
    m_bulk = false;
    if (storedRowCount() == m_shownRows)
        return;
    beginInsertRows(QModelIndex(), m_shownRows, storedRowCount() - 1);
    m_shownRows = storedRowCount();
    endInsertRows();
}

void CSortListModel::sortByColumn(int column, bool ascending) {
    KERF_ASSERT(!m_bulk);
    if (column < 0 || column >= static_cast<int>(m_columns.size()) || m_rows.size() < 2)
        return;

    // One collation key per row, then cheap key comparisons: collating the
    // texts afresh in every comparison costs several times as much.
    QCollator collator{QLocale()};
    collator.setCaseSensitivity(Qt::CaseSensitive);
    std::vector<QCollatorSortKey> keys;
    keys.reserve(m_rows.size());
    for (const Row& row : m_rows)
        keys.push_back(collator.sortKey(row.cells[static_cast<size_t>(column)].sort));

    std::vector<int> order(m_rows.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
        const int c = keys[static_cast<size_t>(a)].compare(keys[static_cast<size_t>(b)]);
        return ascending ? c < 0 : c > 0;
    });

    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    std::vector<Row> sorted;
    sorted.reserve(m_rows.size());
    std::vector<int> newRowOf(m_rows.size());
    for (size_t i = 0; i < order.size(); ++i) {
        sorted.push_back(std::move(m_rows[static_cast<size_t>(order[i])]));
        newRowOf[static_cast<size_t>(order[i])] = static_cast<int>(i);
    }
    m_rows = std::move(sorted);

    const QModelIndexList before = persistentIndexList();
    QModelIndexList after;
    after.reserve(before.size());
    for (const QModelIndex& old : before)
        after.push_back(index(newRowOf[static_cast<size_t>(old.row())], old.column()));
    changePersistentIndexList(before, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

} // namespace Kerf::QuireLib
