#pragma once
// The SMTP addresses of a message's sender and recipients. An address is
// taken only where it is an Internet one: the SMTP-address properties, or the
// address properties when their type says SMTP. The addresses inside an
// Exchange organisation ("/O=...") are not words anyone types, and are left
// out.

#include "mail/EmailMetadata.h"
#include "msgfile/MapiMessage.h"

namespace Kerf::QuireLib::MessageAddresses {

/// Reads the sender's address and every recipient's name and address into
/// the record. Never throws; what cannot be read stays empty.
void read(Mapi::CMessage& message, CEmailMetadata& record);

/// The address as kept: trimmed, and empty when it is no Internet address.
std::wstring usable(std::wstring_view address);

} // namespace Kerf::QuireLib::MessageAddresses
