#pragma once
// Widths given in dialog units (a quarter of the average character width),
// as the list headings state them, turned into pixels for the widget's font.

#include <QFontMetrics>
#include <QWidget>

inline int dialogUnitsToPixels(const QWidget& widget, int units) {
    return units * widget.fontMetrics().averageCharWidth() / 4;
}
