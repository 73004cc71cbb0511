#include "app/TranslateWindow.h"

#include <QAbstractButton>
#include <QGroupBox>
#include <QLabel>
#include <QWidget>

namespace {

bool isMarked(const QString& text) {
    return text.size() > 1 && text.startsWith(QLatin1Char('_'));
}

void translate(QWidget* widget) {
    if (auto* button = qobject_cast<QAbstractButton*>(widget)) {
        if (isMarked(button->text()))
            button->setText(button->text().mid(1));
    } else if (auto* label = qobject_cast<QLabel*>(widget)) {
        if (isMarked(label->text()))
            label->setText(label->text().mid(1));
    } else if (auto* group = qobject_cast<QGroupBox*>(widget)) {
        if (isMarked(group->title()))
            group->setTitle(group->title().mid(1));
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
