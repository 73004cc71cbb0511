#pragma once
// The program's icons, drawn rather than shipped as files: the window icon
// (a magnifying glass over a filed letter) and the icon of a ".msg" row where
// the desktop's icon theme has none.

#include <QIcon>

/// The program's icon at the usual sizes.
QIcon programIcon();

/// The desktop theme's icon for saved messages, or a drawn letter.
QIcon messageFileIcon();
