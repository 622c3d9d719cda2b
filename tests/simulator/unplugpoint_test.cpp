#include "unplugpoint.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace ridge::simulator::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

const Bytes twoFrames{0x7E, 1, 2, 0x7F, 0x7E, 3, 0x7F};

std::optional<std::size_t> find(const UnplugPoint& point, const Bytes& bytes) {
    return UnplugPointFinder(point).find(point.direction, bytes);
}

TEST(UnplugPoint, IsParsed) {
    EXPECT_EQ(parseUnplugPoint("to-host 3 -1"), (UnplugPoint{Direction::toHost, 3, -1}));
    EXPECT_EQ(parseUnplugPoint("from-host 0 1"), (UnplugPoint{Direction::fromHost, 0, 1}));
}

TEST(UnplugPoint, ThatIsNone_IsRefusedWithItsText) {
    for (const char* text :
         {"", "to-host", "to-host 1", "to-host 1 0 0", "to-host 1 -2", "to-host -1 0",
          "to-host 0 -1", "to-host x 0", "away 1 0", "to-host 4294967296 0"}) {
        EXPECT_THROW(parseUnplugPoint(text), std::invalid_argument) << text;
    }
    try {
        parseUnplugPoint("away 1 0");
        FAIL();
    } catch (const std::invalid_argument& failure) {
        EXPECT_STREQ(failure.what(),
                     "\"away 1 0\" is no place on the line, such as \"to-host 3 -1\": to-host or "
                     "from-host, a frame, and bytes from -1 on");
    }
}

TEST(UnplugPointFinder, EndOfAFrame_IsBehindItsLastByte) {
    EXPECT_EQ(find({Direction::toHost, 1, 0}, twoFrames), 4U);
    EXPECT_EQ(find({Direction::toHost, 2, 0}, twoFrames), 7U);
}

TEST(UnplugPointFinder, ByteBeforeTheEnd_LeavesTheFrameIncomplete) {
    EXPECT_EQ(find({Direction::toHost, 1, -1}, twoFrames), 3U);
}

TEST(UnplugPointFinder, ByteBehindTheEnd_IsTheNextFramesFirst) {
    EXPECT_EQ(find({Direction::toHost, 1, 1}, twoFrames), 5U);
}

TEST(UnplugPointFinder, FrameZero_IsTheBeginning) {
    EXPECT_EQ(find({Direction::toHost, 0, 0}, twoFrames), 0U);
    EXPECT_EQ(find({Direction::toHost, 0, 1}, twoFrames), 1U);
}

TEST(UnplugPointFinder, PlaceFurtherOn_IsFoundInALaterPiece) {
    UnplugPointFinder finder({Direction::toHost, 2, 1});
    EXPECT_EQ(finder.find(Direction::toHost, twoFrames), std::nullopt);
    EXPECT_EQ(finder.find(Direction::toHost, Bytes{}), std::nullopt);
    EXPECT_EQ(finder.find(Direction::toHost, twoFrames), 1U);
}

TEST(UnplugPointFinder, BytesOfTheOtherDirection_DoNotCount) {
    UnplugPointFinder finder({Direction::fromHost, 1, 0});
    EXPECT_EQ(finder.find(Direction::toHost, twoFrames), std::nullopt);
    EXPECT_EQ(finder.find(Direction::fromHost, Bytes{0x7E, 9, 0x7F}), 3U);
}

} // namespace
} // namespace ridge::simulator::test
