#pragma once
// Reading the "Location" of indexed documents without loading the rest of
// them: stored bodies can be large, and the skip test and the hit walk need
// nothing but the path.

#include "search/DocumentLayout.h"
#include "search/FileState.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Kerf::Search {

/// The stored "Location" of one document, read without its other fields;
/// empty when the document has none.
std::wstring readLocation(lucene::index::IndexReader& reader, std::int32_t documentNumber);

/// Calls visit with the "Location" of every document whose location holds
/// the words of directory in sequence (the phrase query the index answers
/// for "below this directory"), in document order. A directory that yields
/// no words, such as "/", stands for every document.
void forEachLocationBelow(lucene::search::IndexSearcher& searcher, const std::wstring& directory,
                          const std::function<void(const std::wstring&)>& visit);

/// Calls visit with the path and state of every live document whose path
/// lies below directory, by enumerating the "FileState" terms that begin with
/// the directory's path and a separator: no stored document is read.
/// Documents without a state (written before it was kept) are not listed.
/// The listing ends early when visit returns false.
void forEachFileBelow(lucene::index::IndexReader& reader, const std::wstring& directory,
                      const std::function<bool(std::wstring_view, const FileState&)>& visit);

/// Live documents that carry no "FileState" term.
std::vector<std::int32_t> documentsWithoutFileState(lucene::index::IndexReader& reader);

} // namespace Kerf::Search
