#pragma once
// The addresses of a message in its index document. They are indexed into
// the fields of the names beside them ("From", "To", "Cc", "Bcc"), so that
// the criteria and the keywords find a message by its addresses too, and
// stored apart ("FromAddress", "ToAddresses", ...), so that the names stay
// as the message shows them and the preview can show both.

#include "mail/EmailMetadata.h"
#include "search/IndexStorage.h"

namespace Kerf::QuireLib::AddressFields {

/// Adds the record's addresses to the document.
void add(Search::Document& document, const CEmailMetadata& record);
/// Reads the stored addresses back into the record; a document without them
/// leaves it as it is.
void read(Search::Document& document, CEmailMetadata& record);

} // namespace Kerf::QuireLib::AddressFields
