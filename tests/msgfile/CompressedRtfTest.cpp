// The compressed RTF a message stores its RTF body in.

#include "MsgWriter.h"

#include "msgfile/CompressedRtf.h"

#include <gtest/gtest.h>

using namespace Kerf;

namespace {

TEST(CompressedRtf, LiteralRunsAndTheEndMarker) {
    for (const std::string rtf : {"", "{\\rtf1}", "{\\rtf1 exactly16 bytes}", "{\\rtf1 x}"}) {
        const std::vector<std::uint8_t> stored = QoMsg::storedRtf(rtf, true);
        EXPECT_EQ(Rtf::decompress(stored.data(), stored.size()), rtf);
    }
    // A header claiming a vast raw size yields only what the data holds.
    std::vector<std::uint8_t> lying = QoMsg::storedRtf("{\\rtf1 small}", true);
    lying[4] = lying[5] = lying[6] = lying[7] = 0xFF;
    EXPECT_EQ(Rtf::decompress(lying.data(), lying.size()), "{\\rtf1 small}");
    const std::uint8_t unknown[16] = {12, 0, 0, 0, 5, 0, 0, 0, 'A', 'B', 'C', 'D'};
    EXPECT_FALSE(Rtf::decompress(unknown, sizeof unknown).has_value());
}

} // namespace
