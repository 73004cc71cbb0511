#pragma once
// An attached message as a saved message file of its own. The attached
// message is a storage inside its parent's file; a file of its own is a new
// compound file (written by libgsf) whose root holds a copy of that storage's
// streams and storages. Two things differ from a plain copy: the property
// stream's header of a message at the top of a file is 8 bytes longer than
// that of an attached one, and the map of named properties lives only at the
// top of a file, so the parent file's map is copied beside the message.

#include "msgfile/CompoundStorage.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Mapi {

/// The bytes of a saved message file holding the message in `message`.
/// `nameIds` is the parent file's "__nameid_version1.0" storage, or null.
/// False and a reason when the message cannot be read whole, is nested too
/// deeply, or would be longer than `limit` bytes.
bool writeMessageFile(const CStorage& message, const CStorage* nameIds,
                      std::vector<std::uint8_t>& bytes, std::string& error,
                      std::uint64_t limit = 64ull * 1024 * 1024);

} // namespace Mapi
