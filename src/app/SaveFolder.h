#pragma once
// Where a Save As dialog starts: the folder the user last saved into, else
// the Downloads folder, else one the user chooses first. Never the working
// folder (usually home), where a proposed name such as ".bashrc" would
// replace a file of the user's with one Enter.

#include <QString>

class QWidget;

namespace SaveFolder {

/// The folder to start in; empty when the user was asked and cancelled.
QString start(QWidget* parent);

/// Remembers the folder of a file just saved, for the next start().
void remember(const QString& savedFile);

} // namespace SaveFolder
