#pragma once
// Control texts are written with a leading "_" where the window layout marks
// them for translation; the mark is taken off when a window is built, so
// "_Find Now" reads "Find Now".

class QWidget;

/// Strips the leading "_" from the text of the window and of every button,
/// label and group box inside it whose text is longer than one character.
void TranslateWindow(QWidget* window);
