#include "app/TranslateWindow.h"

#include <QAbstractButton>
#include <QGroupBox>
#include <QLabel>
#include <QWidget>

namespace {

bool isMarked(const QString& text) {
    return text.size() > 1 && text.startsWith(QLatin1Char('_'));
}

// The mark goes; where the control can take an access key and the text
// names none of its own, the letter after the mark becomes it.
QString translated(const QString& text, bool canTakeKey) {
    QString rest = text.mid(1);
    if (canTakeKey && rest.front().isLetterOrNumber() && !rest.contains(QLatin1Char('&')))
        rest.prepend(QLatin1Char('&'));
    return rest;
}

void translate(QWidget* widget) {
    if (auto* button = qobject_cast<QAbstractButton*>(widget)) {
        if (isMarked(button->text()))
            button->setText(translated(button->text(), true));
    } else if (auto* label = qobject_cast<QLabel*>(widget)) {
        // A label's key moves the focus to its buddy; without one it has none.
        if (isMarked(label->text()))
            label->setText(translated(label->text(), label->buddy() != nullptr));
    } else if (auto* group = qobject_cast<QGroupBox*>(widget)) {
        if (isMarked(group->title()))
            group->setTitle(translated(group->title(), true));
    }
}

} // namespace

void TranslateWindow(QWidget* window) {
    if (window == nullptr)
        return;
    translate(window);
    for (QWidget* child : window->findChildren<QWidget*>())
        translate(child);
}
