#include "CityHash64.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace {

using VDIFrameworkCommon::cityHash64;

// Text of a length in which every byte value occurs, bytes above 0x7F included.
std::string patternOf(std::size_t length, unsigned seed) {
    std::string text(length, '\0');
    std::uint32_t state = seed * 2654435761U + 1;
    for (char& character : text) {
        state = state * 1664525U + 1013904223U;
        character = static_cast<char>(state >> 24U);
    }
    return text;
}

// Digests that libc++ gives; processes built with any library must agree on them.
TEST(CityHash64, GivesTheDigestsThatNameExistingObjects) {
    EXPECT_EQ(cityHash64(""), 11160318154034397263U);
    EXPECT_EQ(cityHash64("a"), 2603192927274642682U);
    EXPECT_EQ(cityHash64("abc"), 4220206313085259313U);
    EXPECT_EQ(cityHash64("abcd"), 8979402121050354847U);
    EXPECT_EQ(cityHash64("abcdefgh"), 9783666229747886974U);
    EXPECT_EQ(cityHash64("abcdefghi"), 7406163328168016081U);
    EXPECT_EQ(cityHash64("501HDVDI_TavixHuddleVDIRunnerCounter"), 13421548543151089336U);
    EXPECT_EQ(cityHash64("0CRVDI_B3AA2F75-88F6-41D3-A399-B58B79308164_TavixCrewsVDIRunnerCounter_mutex"),
              14102575400106248894U);
    EXPECT_EQ(cityHash64(std::string(300, '\xff')), 6236091170364861964U);
}

TEST(CityHash64, AllLengthsTogether) {
    std::uint64_t all = 0;
    for (std::size_t length = 0; length <= 300; ++length) {
        all = all * 31 + cityHash64(patternOf(length, static_cast<unsigned>(length)));
    }
    EXPECT_EQ(all, 16309591562632664572U);
}

#ifdef _LIBCPP_VERSION
TEST(CityHash64, EqualsTheStringHashOfLibcxx) {
    for (std::size_t length = 0; length <= 300; ++length) {
        for (unsigned seed = 0; seed < 64; ++seed) {
            const std::string text = patternOf(length, seed);
            ASSERT_EQ(cityHash64(text), std::hash<std::string>()(text)) << "length " << length << ", seed " << seed;
        }
    }
}
#endif

TEST(CityHash64, ReadsNothingBesideTheText) {
    for (std::size_t length = 0; length <= 300; ++length) {
        const std::string text = patternOf(length, 7);
        const std::string surrounded = "\x01" + text + "\x02";
        EXPECT_EQ(cityHash64(std::string_view(surrounded).substr(1, length)), cityHash64(text)) << length;
    }
}

}  // namespace
