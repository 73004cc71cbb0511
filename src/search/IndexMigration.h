#pragma once
// Indexes written before documents carried their exact path and their file's
// time and size cannot tell a changed or deleted file, and the walk does not
// list them. They are brought over once: their documents are removed, so that
// the next walk over their folders reads those files again as new ones. A
// mark in the index directory remembers that this was done.

#include <cstddef>
#include <string>

namespace Kerf::Search {

/// True when the index needs bringing over: it exists and has no mark yet.
bool needsBringingOver(const std::wstring& indexDirectory);

/// Removes the documents without a file state and marks the index; returns
/// how many were removed. Takes the index's write lock for the moment it
/// works, so no writer may be open. Throws CExceptionBase when the index
/// cannot be changed.
std::size_t bringIndexOver(const std::wstring& indexDirectory);

} // namespace Kerf::Search
