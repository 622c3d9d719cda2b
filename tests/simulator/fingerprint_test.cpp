#include "fingerprint.h"
#include "fingersource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace ridge::simulator::test {

namespace {

FingerprintOptions smallFinger(std::uint32_t seed, FingerprintPattern pattern) {
    return {seed, pattern, 90, 120};
}

// FNV-1a over the pixels.
std::uint32_t fingerprintOf(const GreyImage& image) {
    std::uint32_t hash = 2166136261U;
    for (const std::uint8_t grey : image.pixels) {
        hash = (hash ^ grey) * 16777619U;
    }
    return hash;
}

double darkShare(const GreyImage& image, std::size_t left, std::size_t top, std::size_t right,
                 std::size_t bottom) {
    std::size_t dark = 0;
    for (std::size_t y = top; y < bottom; ++y) {
        for (std::size_t x = left; x < right; ++x) {
            dark += image.pixels[y * image.width + x] < 128 ? 1U : 0U;
        }
    }
    return static_cast<double>(dark) / static_cast<double>((right - left) * (bottom - top));
}

} // namespace

TEST(Fingerprint, SameSeed_GivesTheSameImage) {
    EXPECT_EQ(generateFingerprint(smallFinger(5, FingerprintPattern::loop)),
              generateFingerprint(smallFinger(5, FingerprintPattern::loop)));
}

TEST(Fingerprint, Image_IsTheSameOnEveryPlatform) {
    EXPECT_EQ(fingerprintOf(generateFingerprint(smallFinger(1, FingerprintPattern::arch))),
              1373469279U);
    EXPECT_EQ(fingerprintOf(generateFingerprint(smallFinger(2, FingerprintPattern::loop))),
              373372483U);
    EXPECT_EQ(fingerprintOf(generateFingerprint(smallFinger(3, FingerprintPattern::whorl))),
              1189152581U);
}

TEST(Fingerprint, DifferentSeeds_GiveDifferentImages) {
    EXPECT_NE(generateFingerprint(smallFinger(1, FingerprintPattern::loop)),
              generateFingerprint(smallFinger(2, FingerprintPattern::loop)));
}

TEST(Fingerprint, DifferentPatterns_GiveDifferentImages) {
    const GreyImage arch = generateFingerprint(smallFinger(1, FingerprintPattern::arch));
    const GreyImage loop = generateFingerprint(smallFinger(1, FingerprintPattern::loop));
    const GreyImage whorl = generateFingerprint(smallFinger(1, FingerprintPattern::whorl));
    EXPECT_NE(arch, loop);
    EXPECT_NE(loop, whorl);
    EXPECT_NE(whorl, arch);
}

TEST(Fingerprint, Seed_ChoosesThePatternWhenNoneIsGiven) {
    FingerprintOptions options{1, std::nullopt, 90, 120};
    const GreyImage chosen = generateFingerprint(options);
    EXPECT_TRUE(chosen == generateFingerprint(smallFinger(1, FingerprintPattern::arch)) ||
                chosen == generateFingerprint(smallFinger(1, FingerprintPattern::loop)) ||
                chosen == generateFingerprint(smallFinger(1, FingerprintPattern::whorl)));
}

TEST(Fingerprint, Middle_IsHalfRidgesAndCornersAreWhite) {
    for (const FingerprintPattern pattern :
         {FingerprintPattern::arch, FingerprintPattern::loop, FingerprintPattern::whorl}) {
        const GreyImage image = generateFingerprint(smallFinger(7, pattern));
        const double middle = darkShare(image, 25, 35, 65, 85);
        EXPECT_GT(middle, 0.3);
        EXPECT_LT(middle, 0.7);
        EXPECT_EQ(darkShare(image, 0, 0, 8, 8), 0.0);
        EXPECT_EQ(darkShare(image, 82, 112, 90, 120), 0.0);
    }
}

TEST(Fingerprint, Size_IsAsAskedFor) {
    const GreyImage image = generateFingerprint({1, std::nullopt, 33, 17});
    EXPECT_EQ(image.width, 33U);
    EXPECT_EQ(image.height, 17U);
    EXPECT_EQ(image.pixels.size(), 33U * 17U);
}

TEST(Fingerprint, SinglePixel_IsDrawn) {
    EXPECT_EQ(generateFingerprint({1, std::nullopt, 1, 1}).pixels.size(), 1U);
}

TEST(FingerSource, SyntheticFingers_HaveAscendingSeeds) {
    FingerSource source({}, {41, std::nullopt, 20, 20});
    EXPECT_EQ(source.image(), generateFingerprint({41, std::nullopt, 20, 20}));
    source.advance();
    EXPECT_EQ(source.seed(), 42U);
    EXPECT_EQ(source.image(), generateFingerprint({42, std::nullopt, 20, 20}));
}

TEST(FingerSource, FingersThatNobodyAskedFor_ArePassedOver) {
    FingerSource source({}, {41, std::nullopt, 20, 20});
    source.advance();
    source.advance();
    EXPECT_EQ(source.image(), generateFingerprint({43, std::nullopt, 20, 20}));
}

TEST(FingerSource, SuppliedImages_ComeInTurn) {
    const GreyImage first{1, 1, {1}};
    const GreyImage second{1, 1, {2}};
    FingerSource source({first, second}, {});
    EXPECT_EQ(source.image(), first);
    source.advance();
    EXPECT_EQ(source.image(), second);
    source.advance();
    EXPECT_EQ(source.image(), first);
}

} // namespace ridge::simulator::test
