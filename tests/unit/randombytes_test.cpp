#include "randombytes.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace ridge {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes randomBytes(std::size_t size) {
    Bytes bytes(size);
    fillRandom(bytes);
    return bytes;
}

TEST(RandomBytes, EveryValueButTheLast_Occurs) {
    std::array<int, 256> occurrences{};
    for (const std::uint8_t byte : randomBytes(100000)) {
        ++occurrences[byte];
    }
    for (std::size_t value = 0; value < 255; ++value) {
        // 392 expected of each; 250 lies seven standard deviations away.
        EXPECT_GT(occurrences[value], 250) << "value " << value;
    }
    EXPECT_EQ(occurrences[255], 0);
}

TEST(RandomBytes, FillTheSpanAndNothingElse) {
    Bytes buffer(10002, 0xFF);
    fillRandom(std::span(buffer).subspan(1, 10000));
    EXPECT_EQ(buffer.front(), 0xFF);
    EXPECT_EQ(buffer.back(), 0xFF);
    for (std::size_t index = 1; index <= 10000; ++index) {
        ASSERT_NE(buffer[index], 0xFF) << "index " << index;
    }
}

TEST(RandomBytes, OfNoByte_IsPossible) {
    Bytes empty;
    EXPECT_NO_THROW(fillRandom(empty));
}

TEST(RandomBytes, TwoCalls_GiveDifferentBytes) {
    EXPECT_NE(randomBytes(32), randomBytes(32));
}

} // namespace
} // namespace ridge
