#include "lineframing.h"
#include "scannerline.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ridge::simulator::test {

namespace {

std::vector<std::string> framesIn(FrameDecoder& decoder, std::string_view hex) {
    std::vector<std::string> frames;
    for (const std::vector<std::uint8_t>& frame : decoder.decode(bytesOf(hex))) {
        frames.push_back(hexOf(frame));
    }
    return frames;
}

std::vector<std::string> framesIn(std::string_view hex) {
    FrameDecoder decoder;
    return framesIn(decoder, hex);
}

using Frames = std::vector<std::string>;

} // namespace

TEST(LineFraming, FlagValues_AreEscaped) {
    EXPECT_EQ(hexOf(encodeFrame(bytesOf("01 7E 02"))), "7E 01 7D 5E 02 7F");
    EXPECT_EQ(hexOf(encodeFrame(bytesOf("7D 7F"))), "7E 7D 5D 7D 5F 7F");
    EXPECT_EQ(hexOf(encodeFrame(bytesOf("00 7C 80 FF"))), "7E 00 7C 80 FF 7F");
}

TEST(LineFraming, EscapedFrame_IsDecoded) {
    EXPECT_EQ(framesIn("7E 01 7D 5E 02 7F"), Frames{"01 7E 02"});
}

TEST(LineFraming, FrameCutAtEveryPlace_IsDecoded) {
    const std::vector<std::uint8_t> bytes = bytesOf("7E 01 7D 5E 02 7F");
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
        FrameDecoder decoder;
        const std::span<const std::uint8_t> all(bytes);
        auto frames = decoder.decode(all.first(cut));
        for (auto& frame : decoder.decode(all.subspan(cut))) {
            frames.push_back(frame);
        }
        ASSERT_EQ(frames.size(), 1U);
        EXPECT_EQ(hexOf(frames[0]), "01 7E 02");
    }
}

TEST(LineFraming, EmptyFrame_IsDropped) {
    EXPECT_EQ(framesIn("7E 7F"), Frames{});
}

TEST(LineFraming, BytesOutsideFrames_AreIgnored) {
    EXPECT_EQ(framesIn("7F 01 7E 02 7F 33"), Frames{"02"});
}

TEST(LineFraming, StartInsideAFrame_DiscardsItsBeginning) {
    EXPECT_EQ(framesIn("7E 01 7E 02 7F"), Frames{"02"});
    EXPECT_EQ(framesIn("7E 01 7D 7E 02 7F"), Frames{"02"});
}

TEST(LineFraming, EscapeThatNoSenderNeeds_DiscardsTheFrame) {
    FrameDecoder decoder;
    EXPECT_EQ(framesIn(decoder, "7E 01 7D 50 02 7F 7E 03 7F"), Frames{"03"});
    EXPECT_EQ(decoder.abandonedFrames(), 1U);
}

TEST(LineFraming, EndAfterEscape_DiscardsTheFrame) {
    EXPECT_EQ(framesIn("7E 01 7D 7F 7E 03 7F"), Frames{"03"});
}

TEST(LineFraming, FrameOf10005Bytes_IsDecoded) {
    FrameDecoder decoder;
    const std::vector<std::uint8_t> payload(10005, 0x7E);
    const auto frames = decoder.decode(encodeFrame(payload));
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0], payload);
}

TEST(LineFraming, FrameOf10006Bytes_IsDropped) {
    FrameDecoder decoder;
    EXPECT_TRUE(decoder.decode(encodeFrame(std::vector<std::uint8_t>(10006, 1))).empty());
    EXPECT_EQ(decoder.abandonedFrames(), 1U);
    EXPECT_EQ(framesIn(decoder, "7E 03 7F"), Frames{"03"});
}

TEST(LineFraming, Reset_ForgetsTheFrameUnderWay) {
    FrameDecoder decoder;
    framesIn(decoder, "7E 01");
    decoder.reset();
    EXPECT_EQ(framesIn(decoder, "02 7F"), Frames{});
}

} // namespace ridge::simulator::test
