#pragma once
// The sender or the recipients of one kind as a message's header shows them:
// "Name <address>" for each one whose address is known, else the names as
// the message lists them.

#include "mail/EmailMetadata.h"

#include <string>

namespace Kerf::QuireLib {

/// For the key "From", "To", "Cc" or "Bcc"; empty when the message names no one there.
std::wstring peopleText(const CEmailMetadata& record, const std::wstring& key);

} // namespace Kerf::QuireLib
