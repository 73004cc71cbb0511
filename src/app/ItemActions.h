#pragma once
// Opening result messages and their folders on the desktop. A message opens
// in the desktop's application for ".msg" files; where there is none, or
// while the desktop has not yet said whether there is one, in the program's
// own viewer window.

#include "mail/SearchWords.h"

#include <QString>

#include <string>
#include <vector>

class CDesktopAssociation;
class QWidget;

namespace ItemActions {

/// The media type of saved message files.
inline constexpr const char* kMessageMimeType = "application/vnd.ms-outlook";

/// Opens each message; returns how many went to the program's own viewer,
/// which marks the words of the search. Never waits for the desktop's
/// answer about ".msg" files.
int openMessages(const std::vector<std::wstring>& paths, QWidget* parent,
                 const CDesktopAssociation& association,
                 const std::vector<Kerf::QuireLib::SearchWord>& words = {});
/// The same with the process's association for saved messages.
int openMessages(const std::vector<std::wstring>& paths, QWidget* parent,
                 const std::vector<Kerf::QuireLib::SearchWord>& words = {});

/// Opens each folder once (folders differing only in letter case are two),
/// in the order given; returns those no application opened.
std::vector<std::wstring> exploreFolders(const std::vector<std::wstring>& folders);

} // namespace ItemActions
