#pragma once
// The index folder belongs to the program and its user alone. The index holds
// the text of every message indexed, and CLucene opens its files by name,
// following links: in a folder another user may write, a link planted under
// a name the index writes ("segments_1", "_0.cfs") would make it write where
// the link points. So the folder is made 0700 and its files 0600; a folder
// that another user owns or may write in, or that holds a link, is refused
// before any file in it is opened; and the program's own files in it are
// opened without following links.

#include <CLucene.h>

#include <string>
#include <system_error>

namespace Kerf::Search {

/// Why the index must not be kept in the folder (for the user), or empty
/// when it may. A folder of the user's own that others may only read is closed
/// to them on the way; a folder that does not exist is not refused.
std::wstring refusalOfIndexFolder(const std::string& folder);

/// Opens (creating when missing, 0600) a file of the program's own in the
/// index folder without following a link; -1 with errno set on failure.
int openOwnFile(const std::string& path, int flags);

/// CLucene's object for the folder, set to make files 0600 (it makes them
/// 0644 unless told). It is shared with every other user of the path in this
/// process: close() it, or hand it to a writer or reader that closes it.
lucene::store::FSDirectory* openIndexFolder(const std::string& folder);

/// Removes an index's folder: the files an index writes (and the program's
/// own beside them), then the folder itself when nothing else is left in it.
void removeIndexFolder(const std::string& folder);

/// The names of the files the program keeps beside the index's own.
bool isOwnFileName(const std::string& name);

} // namespace Kerf::Search
