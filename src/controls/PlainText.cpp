#include "controls/PlainText.h"

#include <QLabel>
#include <QPointer>
#include <QTextDocument>

namespace PlainText {

QMessageBox* newMessageBox(QMessageBox::Icon icon, const QString& title, const QString& text,
                           QWidget* parent, QMessageBox::StandardButtons buttons) {
    auto* box = new QMessageBox(icon, title, QString(), buttons, parent);
    box->setTextFormat(Qt::PlainText);
    box->setText(text);
    return box;
}

QMessageBox* openMessageBox(QMessageBox::Icon icon, const QString& title, const QString& text,
                            QWidget* parent) {
    QMessageBox* box = newMessageBox(icon, title, text, parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
    return box;
}

QMessageBox::StandardButton execMessageBox(QMessageBox::Icon icon, const QString& title,
                                           const QString& text, QWidget* parent) {
    // The parent may go while the box is open, and take the box with it.
    const QPointer<QMessageBox> box = newMessageBox(icon, title, text, parent);
    const auto button = static_cast<QMessageBox::StandardButton>(box->exec());
    delete box.data();
    return button;
}

QString toolTip(const QString& text) {
    return text.isEmpty() ? text : Qt::convertFromPlainText(text, Qt::WhiteSpaceNormal);
}

QString windowTitle(const QString& text) {
    QString title = text;
    title.replace(QLatin1String("[*]"), QLatin1String("[*][*]"));
    return title;
}

void setLabelText(QLabel& label, const QString& text) {
    label.setTextFormat(Qt::PlainText);
    label.setText(text);
}

} // namespace PlainText
