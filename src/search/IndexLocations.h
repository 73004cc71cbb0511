#pragma once
// Reading the "Location" of indexed documents without loading the rest of
// them: stored bodies can be large, and the skip test and the hit walk need
// nothing but the path.

#include "search/DocumentLayout.h"

#include <cstdint>
#include <functional>
#include <string>

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

} // namespace Kerf::Search
