#pragma once
// Telling a damaged index from a file system that refuses. The index is only
// a cache of the files: when its own files hold what CLucene cannot read
// while the file system serves them well, it is damaged, and it is removed
// and built again. When the file system refuses (no permission, a full disk,
// too many open files), the index is left exactly as it is and the failure
// is reported. Every CLucene error leaves the engine as a CIndexException
// (support/Exception.h).

#include "support/Exception.h"

#include <CLucene.h>

#include <string>

namespace Kerf::Search {

/// The fault a CLucene error points to. `systemError` is errno as it was
/// where the error was caught. Damaged here means "may be damaged": only
/// confirmDamage can tell, since CLucene reports both kinds as I/O errors.
IndexFault faultOf(CLuceneError& error, int systemError);

/// Damaged when the directory holds an index whose files can all be opened
/// and beside which a file can be written; Unavailable when the file system
/// refuses either; Other when there is no index to be damaged.
IndexFault confirmDamage(const std::wstring& indexDirectory);

/// The CLucene error as the program's own exception, with the error as its
/// cause. With a directory, a possible damage is confirmed there first.
CIndexException toIndexException(std::wstring message, CLuceneError& error, int systemError,
                                 const std::wstring& indexDirectory = {});

/// True for the names CLucene gives the files of an index (segments files,
/// "_N.ext" segment files with the extensions it writes, deletion lists and
/// its lock files); "_notes.txt" or "budget.cfs" are someone else's.
bool isIndexFileName(const std::string& name);

/// True for the names CLucene takes for an index's files wherever they stand
/// in its folder, and deletes there when it creates an index or finds them
/// unused: its extensions ("budget.cfs" too), "deletable", and every name that
/// begins with "segments", which it reads as a generation of the index.
bool isTakenForIndexFile(const std::string& name);

} // namespace Kerf::Search
