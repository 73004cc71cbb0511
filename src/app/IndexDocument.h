#pragma once
// A message's record as the index holds it, looked up by its path.

#include "mail/EmailMetadata.h"
#include "search/IndexStorage.h"

#include <optional>
#include <string>

/// The stored record whose "Location" is exactly the path; none when the
/// index does not hold it (or the searcher is not open).
std::optional<Kerf::QuireLib::CEmailMetadata>
getDocumentFromIndex(const Kerf::Search::IndexSearcherPtr& searcher, const std::wstring& path);
