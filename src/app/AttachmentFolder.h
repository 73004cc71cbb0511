#pragma once
// Where attachments are written for the desktop's programs to open: a
// folder of the process's own under the temporary folder that only this user
// can enter (mode 0700), removed when the program ends. Each file goes into
// a folder of its own there, so that it keeps its name. The folder's name
// carries the process id, so that folders left by a process that crashed
// are known as such and cleared at the next start.

#include <QString>

#include <functional>

class QIODevice;

namespace AttachmentFolder {

/// Writes a file of that name (made safe for a file name) with what `fill`
/// writes into it, and returns its path; empty when it cannot be written or
/// `fill` returns false.
QString write(const QString& name, const std::function<bool(QIODevice&)>& fill);

/// A name that is safe as one file name: no folder separators or control
/// characters, not empty, and at most 255 bytes long, cut before its
/// extension when longer.
QString safeFileName(const QString& name);

/// Why handing the file to the desktop may run something (a program, a
/// script, a desktop entry, a name whose letters run backwards to hide its
/// real extension); empty when it is a document.
QString openingRisk(const QString& path);

/// Removes the folders of this user's processes that have ended, in `parent`
/// (the temporary folder): only folders named as this program names them,
/// owned by this user, of mode 0700 and not links. Returns how many.
int clearStale(const QString& parent);

} // namespace AttachmentFolder
