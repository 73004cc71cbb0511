#include "app/ProgramIcons.h"

#include "app/ItemActions.h"

#include <QMimeDatabase>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace {

// An envelope filling the rectangle.
void drawLetter(QPainter& p, const QRectF& r) {
    const qreal line = std::max<qreal>(1.0, r.width() / 16.0);
    p.setPen(QPen(QColor(0x3b, 0x5b, 0x8c), line));
    p.setBrush(QColor(0xfd, 0xfa, 0xf0));
    p.drawRect(r);
    QPainterPath flap;
    flap.moveTo(r.topLeft());
    flap.lineTo(r.center().x(), r.top() + r.height() * 0.55);
    flap.lineTo(r.topRight());
    p.setBrush(Qt::NoBrush);
    p.drawPath(flap);
}

QPixmap letterPixmap(int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    const qreal m = size / 16.0;
    drawLetter(p, QRectF(m, 3.5 * m, size - 2 * m, size - 7 * m));
    return pixmap;
}

QPixmap programPixmap(int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    const qreal s = size;
    drawLetter(p, QRectF(s * 0.04, s * 0.12, s * 0.72, s * 0.52));
    // The glass: a ring with a pale lens, and a handle towards the corner.
    const QPointF centre(s * 0.58, s * 0.56);
    const qreal radius = s * 0.22;
    p.setPen(QPen(QColor(0x5a, 0x3a, 0x1a), s * 0.11, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(centre + QPointF(radius * 0.75, radius * 0.75), QPointF(s * 0.93, s * 0.93));
    p.setPen(QPen(QColor(0x30, 0x30, 0x38), std::max<qreal>(1.5, s * 0.07)));
    p.setBrush(QColor(0xbf, 0xe3, 0xf5, 0xd0));
    p.drawEllipse(centre, radius, radius);
    return pixmap;
}

} // namespace

QIcon programIcon() {
    QIcon icon;
    for (int size : {16, 24, 32, 48, 64, 128})
        icon.addPixmap(programPixmap(size));
    return icon;
}

QIcon messageFileIcon() {
    const QMimeType type =
        QMimeDatabase().mimeTypeForName(QLatin1String(ItemActions::kMessageMimeType));
    if (type.isValid()) {
        for (const QString& name :
             {type.iconName(), QStringLiteral("mail-message"), QStringLiteral("message-rfc822")}) {
            const QIcon themed = QIcon::fromTheme(name);
            if (!themed.isNull())
                return themed;
        }
    }
    QIcon icon;
    for (int size : {16, 24, 32})
        icon.addPixmap(letterPixmap(size));
    return icon;
}
