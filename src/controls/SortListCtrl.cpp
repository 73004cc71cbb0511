#include "controls/SortListCtrl.h"

#include "controls/HeadingText.h"
#include "support/Assert.h"
#include "support/Paths.h"

#include <QAction>
#include <QDrag>
#include <QItemSelectionModel>
#include <QSettings>
#include <QStyledItemDelegate>

#include <algorithm>

namespace Kerf::QuireLib {
namespace {

// Where every list keeps its widths, one value per list identifier.
const char* const g_pszSection = "ListCtrls";

QSettings userSettings() {
    return QSettings(QString::fromStdWString(Kerf::Paths::vendorName()),
                     QString::fromStdWString(Kerf::Paths::productName()));
}

class MiddleElidingDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        option->textElideMode = Qt::ElideMiddle;
    }
};

} // namespace

CSortListCtrl::CSortListCtrl(int controlId, QWidget* parent)
    : QTreeView(parent), m_ctlHeader(new CSortHeaderCtrl(this)), m_model(new CSortListModel(this)),
      m_iControlId(controlId) {
    setHeader(m_ctlHeader);
    setModel(m_model);
    setRootIsDecorated(false);
    setItemsExpandable(false);
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    // Sorting is ours: the view's own sorting would ask the model to sort.
    // Switching it off also turns the heading clicks and the arrow off, which
    // the header then gets back.
    setSortingEnabled(false);
    m_ctlHeader->setSectionsClickable(true);
    m_ctlHeader->setSortIndicatorShown(true);
    connect(m_ctlHeader, &QHeaderView::sectionClicked, this, &CSortListCtrl::OnHeadingClicked);
    auto* reset = new QAction(QStringLiteral("Reset Columns"), m_ctlHeader);
    reset->setObjectName(QStringLiteral("resetColumns"));
    connect(reset, &QAction::triggered, this, &CSortListCtrl::ResetColumns);
    m_ctlHeader->addAction(reset);
    m_ctlHeader->setContextMenuPolicy(Qt::ActionsContextMenu);
    // A width set by anyone but the fitting is the user's and is kept.
    connect(m_ctlHeader, &QHeaderView::sectionResized, this, [this] {
        if (!m_bFitting)
            m_bFitToWidth = false;
    });
}

void CSortListCtrl::resizeEvent(QResizeEvent* event) {
    QTreeView::resizeEvent(event);
    if (m_bFitToWidth)
        fitColumnsToWidth();
}

void CSortListCtrl::fitColumnsToWidth() {
    std::vector<int> shown;
    long long declared = 0;
    for (int column = 0; column < m_iNumColumns; ++column)
        if (!m_ctlHeader->isSectionHidden(column) &&
            m_defaultWidths[static_cast<std::size_t>(column)] > 0) {
            shown.push_back(column);
            declared += m_defaultWidths[static_cast<std::size_t>(column)];
        }
    // A list not on screen has no width of its own yet; it fits when shown.
    const int available = viewport()->width();
    if (!isVisible() || shown.empty() || declared <= 0 || available <= 0)
        return;
    m_bFitting = true;
    int left = available;
    for (std::size_t i = 0; i < shown.size(); ++i) {
        const int column = shown[i];
        const int width =
            i + 1 == shown.size()
                ? left
                : static_cast<int>(
                      static_cast<long long>(m_defaultWidths[static_cast<std::size_t>(column)]) *
                      available / declared);
        m_ctlHeader->resizeSection(column,
                                   std::max(width, m_ctlHeader->minimumColumnWidth(column)));
        left -= m_ctlHeader->sectionSize(column);
    }
    m_bFitting = false;
}

bool CSortListCtrl::SetHeadings(const std::wstring& spec) {
    for (const HeadingColumn& column : parseHeadingText(spec)) {
        m_model->appendColumn(QString::fromStdWString(column.name));
        if (m_ctlHeader->count() != m_iNumColumns + 1)
            return false;
        m_ctlHeader->SetColumnWidth(m_iNumColumns, column.width);
        m_defaultWidths.push_back(m_ctlHeader->GetColumnWidth(m_iNumColumns));
        ++m_iNumColumns;
    }
    return true;
}

int CSortListCtrl::AddItem(const std::vector<std::wstring>& texts) {
    KERF_ASSERT(m_iNumColumns > 0);
    KERF_ASSERT(static_cast<int>(texts.size()) == m_iNumColumns);
    QStringList list;
    list.reserve(static_cast<qsizetype>(texts.size()));
    for (const std::wstring& text : texts)
        list.push_back(QString::fromStdWString(text));
    return m_model->appendRow(list);
}

bool CSortListCtrl::SetItemDisplayText(int row, int column, const std::wstring& text) {
    if (!m_model->isCell(row, column)) {
        KERF_ASSERT(m_model->isCell(row, column));
        return false;
    }
    m_model->setDisplayText(row, column, QString::fromStdWString(text));
    return true;
}

std::wstring CSortListCtrl::GetItemText(int row, int column) const {
    return m_model->displayText(row, column).toStdWString();
}

std::wstring CSortListCtrl::GetSortText(int row, int column) const {
    return m_model->sortText(row, column).toStdWString();
}

void CSortListCtrl::SetItemData(int row, const QVariant& value) {
    m_model->setUserData(row, value);
}

QVariant CSortListCtrl::GetItemData(int row) const {
    return m_model->userData(row);
}

void CSortListCtrl::SetRowIcon(const QIcon& icon) {
    m_model->setRowIcon(icon);
}

bool CSortListCtrl::SetItemCut(int row, bool cut) {
    if (!m_model->isRow(row))
        return false;
    m_model->setRowCut(row, cut);
    return true;
}

bool CSortListCtrl::IsItemCut(int row) const {
    return m_model->isRowCut(row);
}

bool CSortListCtrl::DeleteItem(int row) {
    if (!m_model->isRow(row))
        return false;
    m_model->removeRowAt(row);
    return true;
}

bool CSortListCtrl::DeleteAllItems() {
    m_model->removeAllRows();
    return true;
}

void CSortListCtrl::SetColumnElideMiddle(int column) {
    setItemDelegateForColumn(column, new MiddleElidingDelegate(this));
    m_model->setSortTextAsToolTip(column);
}

void CSortListCtrl::Sort(int column, bool ascending) {
    if (column < 0 || column >= m_iNumColumns) {
        KERF_ASSERT(column >= 0 && column < m_iNumColumns);
        return;
    }
    m_iSortColumn = column;
    m_bSortAscending = ascending;
    m_ctlHeader->SetSortArrow(column, ascending);
    if (m_model->inBulkAppend())
        return;
    m_model->sortByColumn(column, ascending);
    emit sorted(column, ascending);
}

void CSortListCtrl::OnHeadingClicked(int column) {
    // The header flips its arrow on a click by itself; Sort sets it to what
    // the list really does.
    if (column != m_iSortColumn)
        Sort(column, !m_descendingFirst.contains(column));
    else
        Sort(column, !m_bSortAscending);
}

void CSortListCtrl::startOptimisedAdd(int expectedCount) {
    m_model->beginBulkAppend(expectedCount);
}

void CSortListCtrl::finishOptimisedAdd() {
    if (!m_model->inBulkAppend())
        return;
    m_model->endBulkAppend();
    if (m_iSortColumn != -1)
        Sort(m_iSortColumn, m_bSortAscending);
}

void CSortListCtrl::LoadColumnInfo() {
    KERF_ASSERT(m_iNumColumns > 0);
    // What the owner made of the declared widths is what a reset returns to.
    for (int column = 0; column < m_iNumColumns; ++column)
        m_defaultWidths[static_cast<size_t>(column)] = GetColumnWidth(column);
    QSettings settings = userSettings();
    settings.beginGroup(QLatin1String(g_pszSection));
    const QByteArray stored = settings.value(QString::number(m_iControlId)).toByteArray();
    m_bFitting = true;
    const bool restored = !stored.isEmpty() && m_ctlHeader->RestoreWidths(stored);
    m_bFitting = false;
    m_bFitToWidth = !restored;
    if (m_bFitToWidth)
        fitColumnsToWidth();
    viewport()->update();
}

void CSortListCtrl::SaveColumnInfo() const {
    KERF_ASSERT(m_iNumColumns > 0);
    QSettings settings = userSettings();
    settings.beginGroup(QLatin1String(g_pszSection));
    // Fitted widths are the window's, not the user's: the next start fits
    // them to its own width again.
    if (m_bFitToWidth)
        settings.remove(QString::number(m_iControlId));
    else
        settings.setValue(QString::number(m_iControlId), m_ctlHeader->SaveWidths());
    settings.sync();
    KERF_ASSERT(settings.status() == QSettings::NoError);
}

int CSortListCtrl::GetColumnWidth(int column) const {
    return m_ctlHeader->GetColumnWidth(column);
}

void CSortListCtrl::SetColumnWidth(int column, int width) {
    m_ctlHeader->SetColumnWidth(column, width);
}

void CSortListCtrl::SetDragData(std::function<QMimeData*()> build) {
    m_buildDragData = std::move(build);
    setDragEnabled(static_cast<bool>(m_buildDragData));
    setDragDropMode(m_buildDragData ? QAbstractItemView::DragOnly : QAbstractItemView::NoDragDrop);
}

std::unique_ptr<QMimeData> CSortListCtrl::CreateDragData() const {
    return std::unique_ptr<QMimeData>(m_buildDragData ? m_buildDragData() : nullptr);
}

void CSortListCtrl::startDrag(Qt::DropActions /*supportedActions*/) {
    std::unique_ptr<QMimeData> data = CreateDragData();
    if (!data)
        return;
    // Copies: the files stay where they are filed.
    auto* drag = new QDrag(this);
    drag->setMimeData(data.release());
    drag->exec(Qt::CopyAction, Qt::CopyAction);
}

void CSortListCtrl::ResetColumns() {
    m_bFitting = true;
    for (int column = 0; column < m_iNumColumns; ++column) {
        m_ctlHeader->moveSection(m_ctlHeader->visualIndex(column), column);
        SetColumnWidth(column, m_defaultWidths[static_cast<size_t>(column)]);
    }
    m_bFitting = false;
    m_bFitToWidth = true;
    fitColumnsToWidth();
}

std::vector<int> CSortListCtrl::GetSelectedItems() const {
    std::vector<int> rows;
    for (const QModelIndex& index : selectionModel()->selectedRows())
        rows.push_back(index.row());
    std::sort(rows.begin(), rows.end());
    return rows;
}

} // namespace Kerf::QuireLib
