#pragma once
// Text from outside the program (a message, a file name, a store list, a
// settings file) shown as written. Qt guesses whether a text is markup in
// message boxes, tool tips and labels, and markup loads the pictures it
// names: a file name holding "<img src=/dev/zero>" would read the device,
// and a "<font>" tag could paint a banner of the sender's into the
// program's own warning. Every such text is shown through these helpers.

#include <QMessageBox>
#include <QString>

class QLabel;
class QWidget;

namespace PlainText {

/// A message box that shows `text` as written; the caller shows it.
QMessageBox* newMessageBox(QMessageBox::Icon icon, const QString& title, const QString& text,
                           QWidget* parent, QMessageBox::StandardButtons buttons = QMessageBox::Ok);

/// The box shown without blocking, deleted when closed.
QMessageBox* openMessageBox(QMessageBox::Icon icon, const QString& title, const QString& text,
                            QWidget* parent);

/// The box shown modally, as QMessageBox::warning would; returns the button.
QMessageBox::StandardButton execMessageBox(QMessageBox::Icon icon, const QString& title,
                                           const QString& text, QWidget* parent);

/// Rich text that reads as `text`: for tool tips, whose format Qt guesses.
QString toolTip(const QString& text);

/// A window title that reads as `text` ("[*]" is Qt's mark for a changed
/// document and would vanish).
QString windowTitle(const QString& text);

/// Sets the label's text, shown as written.
void setLabelText(QLabel& label, const QString& text);

} // namespace PlainText
