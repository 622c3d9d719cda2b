#include "blocklayout.h"
#include "greyimage.h"

#include <gtest/gtest.h>

namespace ridge::simulator::test {

namespace {

const GreyImage image{2, 3, {1, 2, 3, 4, 5, 6}};

} // namespace

TEST(GreyImage, QuarterTurn_IsClockwise) {
    EXPECT_EQ(rotated(image, 1), (GreyImage{3, 2, {5, 3, 1, 6, 4, 2}}));
}

TEST(GreyImage, HalfTurn_ReversesThePixels) {
    EXPECT_EQ(rotated(image, 2), (GreyImage{2, 3, {6, 5, 4, 3, 2, 1}}));
}

TEST(GreyImage, FourQuarterTurns_ChangeNothing) {
    EXPECT_EQ(rotated(image, 4), image);
}

TEST(GreyImage, Reduction_AveragesAndDropsTheIncompleteEdge) {
    EXPECT_EQ(reduced(image, 2), (GreyImage{1, 1, {2}}));
}

TEST(GreyImage, ReductionBeyondTheImage_ChangesNothing) {
    EXPECT_EQ(reduced(image, 3), image);
    EXPECT_EQ(reduced(image, 0), image);
}

TEST(GreyImage, Shift_LeavesWhiteBehind) {
    EXPECT_EQ(shifted(image, 1, 1), (GreyImage{2, 3, {255, 255, 255, 1, 255, 3}}));
    EXPECT_EQ(shifted(image, -1, 0), (GreyImage{2, 3, {2, 255, 4, 255, 6, 255}}));
    EXPECT_EQ(shifted(image, 0, 7), (GreyImage{2, 3, {255, 255, 255, 255, 255, 255}}));
}

TEST(GreyImage, Coverage_IsTwiceTheDarkShare) {
    EXPECT_EQ(coverage({2, 2, {255, 255, 255, 255}}), 0);
    EXPECT_EQ(coverage({2, 2, {0, 255, 255, 255}}), 50);
    EXPECT_EQ(coverage({2, 2, {0, 0, 0, 255}}), 100);
    EXPECT_EQ(coverage({}), 0);
}

} // namespace ridge::simulator::test
