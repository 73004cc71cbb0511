#pragma once
// "Open Containing Folder": the file manager shows each result's folder with
// the file selected where it offers that (the freedesktop FileManager1
// interface on the session bus), otherwise it opens the folders. Where no
// program can show them, the user is told what to install.

#include <string>
#include <vector>

class CDesktopAssociation;
class QString;
class QWidget;

namespace ContainingFolder {

/// Shows the files in the file manager. `fileManager` answers whether the
/// desktop names a program for folders; when it says none, or nothing
/// opened them, a message box names the packages to install. Returns true
/// when the files or their folders were handed on.
bool show(const std::vector<std::wstring>& files, QWidget* parent,
          const CDesktopAssociation& fileManager);
/// The same with the process's association for folders.
bool show(const std::vector<std::wstring>& files, QWidget* parent);

/// The process's association for folders ("inode/directory"), started on first use.
CDesktopAssociation& fileManagers();

/// A message box (not modal to the program) saying that `what` could not be
/// done because no program for it is set up, and naming what to install.
void tellWhatToInstall(QWidget* parent, const QString& what, const QString& install);

} // namespace ContainingFolder
