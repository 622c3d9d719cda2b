#include "contrast.h"

#include <gtest/gtest.h>

namespace ridge::tool {
namespace {

/// Black pixels first, then white ones.
std::vector<std::uint8_t> blackAndWhite(std::size_t black, std::size_t white) {
    std::vector<std::uint8_t> pixels(black, 0);
    pixels.insert(pixels.end(), white, 255);
    return pixels;
}

} // namespace

TEST(Contrast, NoPixels_IsZero) {
    EXPECT_EQ(contrast({}), 0);
}

TEST(Contrast, EvenGrey_IsZero) {
    EXPECT_EQ(contrast(std::vector<std::uint8_t>(1000, 130)), 0);
}

TEST(Contrast, OnePixel_IsZero) {
    EXPECT_EQ(contrast({200}), 0);
}

TEST(Contrast, HalfBlackHalfWhite_IsFull) {
    EXPECT_EQ(contrast(blackAndWhite(500, 500)), 255);
}

TEST(Contrast, OneTenthOfEither_DoesNotCount) {
    EXPECT_EQ(contrast(blackAndWhite(100, 900)), 0);
    EXPECT_EQ(contrast(blackAndWhite(900, 100)), 0);
}

TEST(Contrast, MoreThanOneTenthOfEither_Counts) {
    EXPECT_EQ(contrast(blackAndWhite(101, 899)), 255);
    EXPECT_EQ(contrast(blackAndWhite(899, 101)), 255);
}

TEST(Contrast, EvenSpread_LeavesOutOneTenthAtEachEnd) {
    std::vector<std::uint8_t> pixels;
    for (int level = 0; level < 100; ++level) {
        pixels.push_back(static_cast<std::uint8_t>(level));
    }
    EXPECT_EQ(contrast(pixels), 89 - 10);
}

} // namespace ridge::tool
