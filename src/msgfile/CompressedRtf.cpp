#include "msgfile/CompressedRtf.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace Kerf::Rtf {
namespace {

constexpr std::uint32_t kCompressed = 0x75465A4C;   // "LZFu"
constexpr std::uint32_t kUncompressed = 0x414C454D; // "MELA"
constexpr std::size_t kHeaderSize = 16;
constexpr std::size_t kDictionarySize = 4096;

constexpr char kPrelude[] =
    "{\\rtf1\\ansi\\mac\\deff0\\deftab720{\\fonttbl;}{\\f0\\fnil \\froman \\fswiss \\fmodern "
    "\\fscript \\fdecor MS Sans SerifSymbolArialTimes New RomanCourier{\\colortbl\\red0\\green0"
    "\\blue0\r\n\\par \\pard\\plain\\f0\\fs20\\b\\i\\u\\tab\\tx";
constexpr std::size_t kPreludeLength = sizeof kPrelude - 1;
static_assert(kPreludeLength == 207);

// One control byte and eight two-byte references expand to at most 8 * 17 bytes.
constexpr std::size_t kMaxExpansion = 9;

std::uint32_t le32(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

} // namespace

std::optional<std::string> decompress(const std::uint8_t* data, std::size_t size) {
    if (data == nullptr || size < kHeaderSize)
        return std::nullopt;
    const std::uint32_t compressedSize = le32(data);
    const std::uint32_t rawSize = le32(data + 4);
    const std::uint32_t type = le32(data + 8);
    // The compressed size counts everything after its own field.
    const std::size_t end = std::min<std::size_t>(size, std::size_t{compressedSize} + 4);
    if (end < kHeaderSize)
        return std::nullopt;
    const std::size_t inputLength = end - kHeaderSize;

    if (type == kUncompressed) {
        const std::size_t length = std::min<std::size_t>(rawSize, inputLength);
        return std::string(reinterpret_cast<const char*>(data + kHeaderSize), length);
    }
    if (type != kCompressed)
        return std::nullopt;

    const std::size_t limit = std::min<std::size_t>(rawSize, inputLength * kMaxExpansion);
    std::string out;
    out.reserve(limit);
    std::array<char, kDictionarySize> dictionary{};
    std::memcpy(dictionary.data(), kPrelude, kPreludeLength);
    std::size_t writePos = kPreludeLength;

    auto emit = [&](char c) {
        out.push_back(c);
        dictionary[writePos] = c;
        writePos = (writePos + 1) % kDictionarySize;
    };

    std::size_t pos = kHeaderSize;
    while (pos < end && out.size() < limit) {
        const std::uint8_t control = data[pos++];
        for (int bit = 0; bit < 8 && pos < end && out.size() < limit; ++bit) {
            if ((control & (1u << bit)) == 0) {
                emit(static_cast<char>(data[pos++]));
                continue;
            }
            if (pos + 2 > end)
                return out;
            const unsigned reference = (static_cast<unsigned>(data[pos]) << 8) | data[pos + 1];
            pos += 2;
            const std::size_t offset = reference >> 4;
            const std::size_t length = (reference & 0x0F) + 2;
            // A reference to the current write position marks the end.
            if (offset == writePos)
                return out;
            for (std::size_t i = 0; i < length && out.size() < limit; ++i)
                emit(dictionary[(offset + i) % kDictionarySize]);
        }
    }
    return out;
}

} // namespace Kerf::Rtf
