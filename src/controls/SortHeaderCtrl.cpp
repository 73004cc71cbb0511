#include "controls/SortHeaderCtrl.h"

#include "support/Trace.h"

#include <QDataStream>
#include <QIODevice>
#include <QStyle>

#include <vector>

namespace Kerf::QuireLib {

CSortHeaderCtrl::CSortHeaderCtrl(QWidget* parent) : QHeaderView(Qt::Horizontal, parent) {
    setSectionsClickable(true);
    setSortIndicatorShown(true);
    setSortIndicator(-1, Qt::AscendingOrder);
    setHighlightSections(false);
    // Every column keeps exactly the width it was given; none fills the rest.
    setStretchLastSection(false);
    // The first letters of the shortest heading; each column then keeps
    // room for its own (keepMinimumWidth).
    setMinimumSectionSize(fontMetrics().horizontalAdvance(QStringLiteral("Mm")));
    setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    connect(this, &QHeaderView::sectionResized, this, &CSortHeaderCtrl::keepMinimumWidth);
}

int CSortHeaderCtrl::minimumColumnWidth(int column) const {
    constexpr int kFirstLetters = 3;
    const QString title =
        model() != nullptr ? model()->headerData(column, orientation()).toString() : QString();
    return fontMetrics().horizontalAdvance(title.left(kFirstLetters)) +
           2 * style()->pixelMetric(QStyle::PM_HeaderMargin, nullptr, this);
}

void CSortHeaderCtrl::keepMinimumWidth(int column, int /*oldWidth*/, int newWidth) {
    // Width 0 is a column being hidden, which stays possible.
    if (m_bWidening || newWidth == 0 || isSectionHidden(column))
        return;
    const int minimum = minimumColumnWidth(column);
    if (newWidth >= minimum)
        return;
    m_bWidening = true;
    resizeSection(column, minimum);
    m_bWidening = false;
}

void CSortHeaderCtrl::SetSortArrow(int column, bool ascending) {
    setSortIndicator(column, ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
    viewport()->update();
}

int CSortHeaderCtrl::GetColumnWidth(int column) const {
    if (column < 0 || column >= count() || isSectionHidden(column))
        return 0;
    return sectionSize(column);
}

void CSortHeaderCtrl::SetColumnWidth(int column, int width) {
    if (column < 0 || column >= count())
        return;
    if (width <= 0) {
        hideSection(column);
        return;
    }
    showSection(column);
    resizeSection(column, width);
}

QByteArray CSortHeaderCtrl::SaveWidths() const {
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setByteOrder(QDataStream::LittleEndian);
    out << static_cast<qint32>(count());
    for (int column = 0; column < count(); ++column)
        out << static_cast<qint32>(GetColumnWidth(column));
    return bytes;
}

bool CSortHeaderCtrl::RestoreWidths(const QByteArray& stored) {
    QDataStream in(stored);
    in.setByteOrder(QDataStream::LittleEndian);
    qint32 storedCount = 0;
    in >> storedCount;
    if (in.status() != QDataStream::Ok) {
        Trace::tracef("Damaged column widths in the settings; declared widths kept.");
        return false;
    }
    if (storedCount != count()) {
        Trace::tracef("Different number of columns in registry.");
        return false;
    }
    std::vector<qint32> widths(static_cast<size_t>(storedCount));
    for (qint32& width : widths)
        in >> width;
    if (in.status() != QDataStream::Ok) {
        Trace::tracef("Damaged column widths in the settings; declared widths kept.");
        return false;
    }
    for (int column = 0; column < count(); ++column) {
        const int width = widths[static_cast<size_t>(column)];
        SetColumnWidth(column,
                       width > 0 || isSectionHidden(column) ? width : minimumColumnWidth(column));
    }
    return true;
}

} // namespace Kerf::QuireLib
