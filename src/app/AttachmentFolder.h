#pragma once
// Where attachments are written for the desktop's programs to open: a
// folder of the process's own under the temporary folder that only this user
// can enter (mode 0700), removed when the program ends. Each file goes into
// a folder of its own there, so that it keeps its name.

#include <QByteArray>
#include <QString>

namespace AttachmentFolder {

/// Writes the data as a file of that name (made safe for a file name) and
/// returns its path; empty when it cannot be written.
QString write(const QString& name, const QByteArray& data);

/// A name that is safe as one file name: no folder separators, not empty.
QString safeFileName(const QString& name);

} // namespace AttachmentFolder
