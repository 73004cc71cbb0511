#include "app/MsgStoresSortListCtrl.h"

#include "controls/PlainText.h"

#include "support/Trace.h"

#include <QApplication>
#include <QHeaderView>
#include <QHelpEvent>
#include <QMessageBox>
#include <QPainter>
#include <QPointer>
#include <QStyledItemDelegate>
#include <QThreadPool>
#include <QToolTip>

namespace Kerf::QuireLib {
namespace {

// A path too long for its column keeps its start and its end, which tell
// more than the start alone. A location that cannot be searched is dimmed.
class LocationDelegate : public QStyledItemDelegate {
public:
    explicit LocationDelegate(CMsgStoresSortListCtrl* list)
        : QStyledItemDelegate(list), m_pList(list) {}

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        if (index.column() == CMsgStoresSortListCtrl::kLocationColumn)
            option->textElideMode = Qt::ElideMiddle;
        if (!m_pList->LocateRow(index.row()).IsReachable())
            option->state &= ~QStyle::State_Enabled;
    }

private:
    CMsgStoresSortListCtrl* m_pList;
};

} // namespace

CMsgStoresSortListCtrl::CMsgStoresSortListCtrl(QWidget* parent)
    : CSortListCtrl(kControlId, parent), m_stores(std::make_unique<CMsgStoresListModel>(false)) {
    setObjectName(QStringLiteral("locationsList"));
    // A failing source is told to the user without holding up the window.
    m_stores->SetErrorReporter([this](const std::wstring& text) {
        QMessageBox* box = PlainText::newMessageBox(
            QMessageBox::Critical, QStringLiteral("QoSearch"), QString::fromStdWString(text), this);
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->show();
    });
    // The model remembers the order so that a new filter keeps it. Every
    // refill after a filter ends in a sort by the column the model already
    // has; sorting the model again would only give the same order.
    connect(this, &CSortListCtrl::sorted, this, [this](int column, bool ascending) {
        if (column != m_stores->GetSortColumn() || ascending != m_stores->IsSortAscending())
            m_stores->Sort(column, ascending);
    });
}

void CMsgStoresSortListCtrl::Initialise() {
    Trace::tracef("Kerf::QuireLib::CMsgStoresSortListCtrl::Initialise() ...\n");
    SetHeadings(m_stores->GetColumnSpecification());
    // The folder is what matters most: it takes whatever room is left.
    header()->setStretchLastSection(true);
    setItemDelegate(new LocationDelegate(this));
    LoadColumnInfo();
    SetColumnWidth(CMsgStoresListModel::eColStoreId, 0);
    SetColumnWidth(CMsgStoresListModel::eColSource, 0);
}

bool CMsgStoresSortListCtrl::LoadStoreLocations(int kind) {
    const bool loaded = m_stores->LoadStoreLocations(kind);
    ShowModelRows();
    return loaded;
}

void CMsgStoresSortListCtrl::LoadStoreLocationsInBackground(int kind) {
    m_bLoading = true;
    viewport()->update();
    // The global pool is waited for when the application ends, so a source
    // that is slow to answer never outlives the program's libraries. The
    // rows come back to this thread; a list gone by then takes nothing.
    QThreadPool::globalInstance()->start([list = QPointer<CMsgStoresSortListCtrl>(this), kind] {
        auto rows = std::make_shared<const CMsgStoresListModel::SourceRows>(
            CMsgStoresListModel::ReadSources(true));
        QMetaObject::invokeMethod(
            qApp,
            [list, rows, kind] {
                if (list)
                    list->ShowLoadedRows(*rows, kind);
            },
            Qt::QueuedConnection);
    });
}

void CMsgStoresSortListCtrl::ShowLoadedRows(const CMsgStoresListModel::SourceRows& rows, int kind) {
    m_bLoading = false;
    m_stores->ShowSourceRows(rows, kind);
    // What was typed while the rows were on their way still filters them.
    if (!m_sFilter.empty())
        m_stores->Filter(m_sFilter);
    ShowModelRows();
    emit locationsLoaded();
}

LocatedPath CMsgStoresSortListCtrl::LocateRow(int row) const {
    const std::wstring path = GetItemText(row, kLocationColumn);
    if (const LocatedPath* place = m_stores->FindPlace(path))
        return *place;
    return {path, {}}; // not from a source: taken as it stands
}

bool CMsgStoresSortListCtrl::viewportEvent(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        const QModelIndex index = indexAt(help->pos());
        const LocatedPath place = index.isValid() ? LocateRow(index.row()) : LocatedPath{};
        if (!place.IsReachable()) {
            QToolTip::showText(help->globalPos(),
                               PlainText::toolTip(QString::fromStdWString(place.sReason)),
                               viewport());
            return true;
        }
        QToolTip::hideText();
        event->ignore();
        return true;
    }
    return CSortListCtrl::viewportEvent(event);
}

void CMsgStoresSortListCtrl::paintEvent(QPaintEvent* event) {
    CSortListCtrl::paintEvent(event);
    if (!m_bLoading)
        return;
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::Disabled, QPalette::Text));
    painter.drawText(viewport()->rect(), Qt::AlignCenter, QString::fromLatin1(kLoadingText));
}

void CMsgStoresSortListCtrl::Filter(const std::wstring& text) {
    Trace::tracef("Kerf::QuireLib::CMsgStoresSortListCtrl::Filter() ...\n");
    m_sFilter = text;
    m_stores->Filter(text);
    ShowModelRows();
}

void CMsgStoresSortListCtrl::ShowModelRows() {
    QApplication::setOverrideCursor(Qt::WaitCursor);
    setUpdatesEnabled(false);
    DeleteAllItems();
    const size_t count = m_stores->GetRowCount();
    startOptimisedAdd(static_cast<int>(count));
    for (size_t i = 0; i < count; ++i) {
        const auto& row = m_stores->GetRow(i);
        AddItem(std::vector<std::wstring>(row.begin(), row.end()));
    }
    finishOptimisedAdd();
    setUpdatesEnabled(true);
    QApplication::restoreOverrideCursor();
}

} // namespace Kerf::QuireLib
