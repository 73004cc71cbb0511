#pragma once
// The compressed-RTF format of a message's PR_RTF_COMPRESSED property: a
// 16-byte header (compressed size, raw size, "LZFu" or "MELA", CRC) followed
// by LZ77 data that refers back into a 4096-byte dictionary which starts out
// holding a fixed RTF prelude.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace Kerf::Rtf {

/// The RTF text, or nothing when the data is not compressed RTF. Output never
/// grows past the raw size the header states nor past what the input can
/// produce, whatever the header claims.
std::optional<std::string> decompress(const std::uint8_t* data, std::size_t size);

} // namespace Kerf::Rtf
