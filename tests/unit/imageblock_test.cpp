#include "imageblock.h"

#include "hexbytes.h"
#include "imageblocks.h"
#include "throwsridgeexception.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace ridge {
namespace {

using test::BlockContent;
using test::captureBlock;
using test::hexBytes;
using test::streamBlock;
using test::throwsRidgeException;
using Bytes = std::vector<std::uint8_t>;

/// A chunk of `size` bytes that announces a block of `length`.
Bytes firstChunk(std::uint32_t length, std::size_t size) {
    Bytes announced;
    appendBigEndian32(announced, length);
    Bytes chunk(size);
    std::copy_n(announced.begin(), std::min(announced.size(), size), chunk.begin());
    return chunk;
}

class CaptureAssembler : public testing::Test {
protected:
    BlockAssembler assembler{captureBlockKind};
};

class StreamAssembler : public testing::Test {
protected:
    BlockAssembler assembler{streamBlockKind};
};

TEST_F(CaptureAssembler, AtFirst_NoBlockIsUnderWay) {
    EXPECT_FALSE(assembler.underWay());
    EXPECT_TRUE(assembler.bytes().empty());
}

TEST_F(CaptureAssembler, BlockInOneChunk_IsComplete) {
    EXPECT_TRUE(assembler.append(firstChunk(20, 20)));
    EXPECT_EQ(assembler.bytes(), firstChunk(20, 20));
}

TEST_F(CaptureAssembler, BlockInSeveralChunks_IsCompleteWithTheLast) {
    EXPECT_FALSE(assembler.append(hexBytes("00 00 00 14 AA")));
    EXPECT_TRUE(assembler.underWay());
    EXPECT_FALSE(assembler.append(Bytes(14, 0xBB)));
    EXPECT_TRUE(assembler.underWay());
    EXPECT_TRUE(assembler.append(hexBytes("CC")));
    EXPECT_EQ(assembler.bytes(), hexBytes("00000014 AA BBBBBBBBBBBBBBBBBBBBBBBBBBBB CC"));
}

TEST_F(CaptureAssembler, Clear_DropsAPartlyReceivedBlock) {
    assembler.append(firstChunk(100, 50));
    assembler.clear();
    EXPECT_FALSE(assembler.underWay());
    EXPECT_TRUE(assembler.bytes().empty());
    EXPECT_TRUE(assembler.append(firstChunk(20, 20)));
}

TEST_F(CaptureAssembler, FirstChunkOfFewerThanFiveBytes_IsRefused) {
    EXPECT_THAT([&] { assembler.append(hexBytes("00 00 00 14")); },
                throwsRidgeException(10, "Invalid captured data header length 4"));
    BlockAssembler other(captureBlockKind);
    EXPECT_THAT([&] { other.append(hexBytes("00")); },
                throwsRidgeException(10, "Invalid captured data header length 1"));
}

TEST_F(CaptureAssembler, AnnouncedLengthOf19And140000_AreTaken) {
    EXPECT_TRUE(assembler.append(firstChunk(19, 19)));
    BlockAssembler other(captureBlockKind);
    EXPECT_FALSE(other.append(firstChunk(140000, 10000)));
    EXPECT_TRUE(other.append(Bytes(130000)));
}

TEST_F(CaptureAssembler, AnnouncedLengthOutsideItsLimits_IsRefused) {
    EXPECT_THAT([] { BlockAssembler(captureBlockKind).append(firstChunk(18, 5)); },
                throwsRidgeException(10, "Invalid captured data length 18"));
    EXPECT_THAT([] { BlockAssembler(captureBlockKind).append(firstChunk(0, 5)); },
                throwsRidgeException(10, "Invalid captured data length 0"));
    EXPECT_THAT([] { BlockAssembler(captureBlockKind).append(firstChunk(140001, 5)); },
                throwsRidgeException(10, "Invalid captured data length 140001"));
    EXPECT_THAT([] { BlockAssembler(captureBlockKind).append(firstChunk(0xFFFFFFFF, 5)); },
                throwsRidgeException(10, "Invalid captured data length -1"));
}

TEST_F(CaptureAssembler, MoreBytesThanAnnounced_AreRefused) {
    EXPECT_THAT([] { BlockAssembler(captureBlockKind).append(firstChunk(20, 21)); },
                throwsRidgeException(10, "Invalid captured data length 20/21"));
    assembler.append(firstChunk(20, 19));
    EXPECT_THAT([&] { assembler.append(Bytes(10)); },
                throwsRidgeException(10, "Invalid captured data length 20/29"));
}

TEST_F(StreamAssembler, FirstChunkOfFewerThanFiveBytes_IsRefused) {
    EXPECT_THAT([&] { assembler.append(hexBytes("00 00 00 14")); },
                throwsRidgeException(10, "Invalid stream data header length 4"));
}

TEST_F(StreamAssembler, AnnouncedLengthOf16And140000_AreTaken) {
    EXPECT_TRUE(assembler.append(firstChunk(16, 16)));
    BlockAssembler other(streamBlockKind);
    EXPECT_TRUE(other.append(firstChunk(140000, 140000)));
}

TEST_F(StreamAssembler, AnnouncedLengthOutsideItsLimits_IsRefused) {
    EXPECT_THAT([] { BlockAssembler(streamBlockKind).append(firstChunk(15, 5)); },
                throwsRidgeException(10, "Invalid stream data length 15"));
    EXPECT_THAT([] { BlockAssembler(streamBlockKind).append(firstChunk(140001, 5)); },
                throwsRidgeException(10, "Invalid stream data length 140001"));
}

TEST_F(StreamAssembler, MoreBytesThanAnnounced_AreRefused) {
    assembler.append(firstChunk(30, 30));
    EXPECT_THAT([&] { assembler.append(hexBytes("00")); },
                throwsRidgeException(10, "Invalid stream data length 30/31"));
}

/// What a scanner would send.
BlockContent smallContent() {
    return {0, 0x0102, 0x0304, hexBytes("11 22 33 44 55 66"), 0x77, hexBytes("88 99")};
}

// Where the length fields of a block stand; the last one for `smallContent`.
constexpr std::size_t lengthOffset = 0;
constexpr std::size_t imageLengthOffset = 12;
constexpr std::size_t trailerLengthOffset = 23;

/// The small capture block with some of its bytes replaced.
Bytes captureBlockWith(std::size_t offset, const Bytes& bytes) {
    Bytes block = captureBlock(smallContent());
    std::copy(bytes.begin(), bytes.end(), block.begin() + static_cast<std::ptrdiff_t>(offset));
    return block;
}

/// Flags A, B and C of a block as bits 0, 1 and 2; -1 when it is not valid.
int flagsOf(const std::optional<ImageBlock>& content) {
    if (!content) {
        return -1;
    }
    return (content->flagA ? 1 : 0) | (content->flagB ? 2 : 0) | (content->flagC ? 4 : 0);
}

TEST(CaptureBlock, LiteralBlock_HasItsFields) {
    const std::optional<ImageBlock> content =
        parseCaptureBlock(hexBytes("00000018 00000003 0002 0001 00000002 A1A2 2A 0003 B1B2B3"));
    ASSERT_TRUE(content);
    EXPECT_TRUE(content->flagA);
    EXPECT_TRUE(content->flagB);
    EXPECT_FALSE(content->flagC);
    EXPECT_EQ(content->width, 2);
    EXPECT_EQ(content->height, 1);
    EXPECT_EQ(content->image, hexBytes("A1 A2"));
    EXPECT_EQ(content->extraValue, 0x2A);
    EXPECT_EQ(content->trailer, hexBytes("B1 B2 B3"));
}

TEST(CaptureBlock, NumbersTakeAllTheirBytes) {
    BlockContent sent = smallContent();
    sent.image = Bytes(70000, 0x5C);
    sent.trailer = Bytes(60000, 0x3D);
    const std::optional<ImageBlock> content = parseCaptureBlock(captureBlock(sent));
    ASSERT_TRUE(content);
    EXPECT_EQ(content->width, 0x0102);
    EXPECT_EQ(content->height, 0x0304);
    EXPECT_EQ(content->image, Bytes(70000, 0x5C));
    EXPECT_EQ(content->extraValue, 0x77);
    EXPECT_EQ(content->trailer, Bytes(60000, 0x3D));
}

TEST(CaptureBlock, FlagC_CountsOnlyTogetherWithFlagB) {
    const std::vector<int> expected{0, 1, 2, 3, 0, 1, 6, 7};
    for (std::uint32_t flags = 0; flags < 8; ++flags) {
        BlockContent sent = smallContent();
        sent.flags = flags;
        EXPECT_EQ(flagsOf(parseCaptureBlock(captureBlock(sent))), expected[flags]);
        EXPECT_EQ(flagsOf(parseStreamBlock(streamBlock(sent))), expected[flags]);
    }
}

TEST(CaptureBlock, OtherFlagBits_AreIgnored) {
    BlockContent sent = smallContent();
    sent.flags = 0xFFFFFFF8;
    EXPECT_EQ(flagsOf(parseCaptureBlock(captureBlock(sent))), 0);
    EXPECT_EQ(flagsOf(parseStreamBlock(streamBlock(sent))), 0);
}

TEST(CaptureBlock, WithoutTrailer_IsValid) {
    BlockContent sent = smallContent();
    sent.trailer.clear();
    const std::optional<ImageBlock> content = parseCaptureBlock(captureBlock(sent));
    ASSERT_TRUE(content);
    EXPECT_TRUE(content->trailer.empty());
    EXPECT_EQ(content->image, sent.image);
}

TEST(CaptureBlock, WithoutImage_IsValid) {
    BlockContent sent = smallContent();
    sent.image.clear();
    const std::optional<ImageBlock> content = parseCaptureBlock(captureBlock(sent));
    ASSERT_TRUE(content);
    EXPECT_TRUE(content->image.empty());
    EXPECT_EQ(content->trailer, sent.trailer);
    EXPECT_EQ(content->extraValue, 0x77);
}

TEST(CaptureBlock, Of19Bytes_IsInvalid_ThoughItsPartsFit) {
    BlockContent sent = smallContent();
    sent.image.clear();
    sent.trailer.clear();
    const Bytes block = captureBlock(sent);
    ASSERT_EQ(block.size(), 19U);
    EXPECT_FALSE(parseCaptureBlock(block));
}

TEST(CaptureBlock, Of20Bytes_IsValid) {
    BlockContent sent = smallContent();
    sent.image.clear();
    sent.trailer = hexBytes("88");
    const Bytes block = captureBlock(sent);
    ASSERT_EQ(block.size(), 20U);
    EXPECT_TRUE(parseCaptureBlock(block));
}

TEST(CaptureBlock, ShorterThanItsHeader_IsInvalid) {
    EXPECT_FALSE(parseCaptureBlock({}));
    EXPECT_FALSE(parseCaptureBlock(hexBytes("00 00 00 05 00")));
}

TEST(CaptureBlock, LengthFieldThatIsNotTheSize_IsInvalid) {
    ASSERT_EQ(captureBlock(smallContent()).size(), 0x1BU);
    EXPECT_FALSE(parseCaptureBlock(captureBlockWith(lengthOffset, hexBytes("0000001A"))));
    EXPECT_FALSE(parseCaptureBlock(captureBlockWith(lengthOffset, hexBytes("0000001C"))));
}

TEST(CaptureBlock, ImageLongerThanTheBlockHolds_IsInvalid) {
    // The image would end with the block.
    EXPECT_FALSE(parseCaptureBlock(captureBlockWith(imageLengthOffset, hexBytes("00000009"))));
    // The sum with the other fields must not wrap around.
    EXPECT_FALSE(parseCaptureBlock(captureBlockWith(imageLengthOffset, hexBytes("FFFFFFFF"))));
    EXPECT_FALSE(parseCaptureBlock(captureBlockWith(imageLengthOffset, hexBytes("FFFFFFF0"))));
}

TEST(CaptureBlock, ImageThatLeavesNoRoomForWhatFollowsIt_IsInvalid) {
    // The longest image with room for it has 8 bytes.
    for (std::uint8_t length = 9; length < 60; ++length) {
        EXPECT_FALSE(parseCaptureBlock(captureBlockWith(imageLengthOffset, {0, 0, 0, length})))
            << static_cast<int>(length);
    }
}

TEST(CaptureBlock, TrailerThatDoesNotEndWithTheBlock_IsInvalid) {
    ASSERT_TRUE(parseCaptureBlock(captureBlockWith(trailerLengthOffset, hexBytes("0002"))));
    for (const char* length : {"0001", "0003", "FFF2"}) {
        EXPECT_FALSE(parseCaptureBlock(captureBlockWith(trailerLengthOffset, hexBytes(length))));
    }
}

TEST(StreamBlock, LiteralBlock_HasItsFields) {
    const std::optional<ImageBlock> content =
        parseStreamBlock(hexBytes("00000012 00000007 0002 0001 00000002 A1A2"));
    ASSERT_TRUE(content);
    EXPECT_EQ(flagsOf(content), 7);
    EXPECT_EQ(content->width, 2);
    EXPECT_EQ(content->height, 1);
    EXPECT_EQ(content->image, hexBytes("A1 A2"));
    EXPECT_EQ(content->extraValue, 0);
    EXPECT_TRUE(content->trailer.empty());
}

TEST(StreamBlock, BytesAfterTheImage_AreIgnored) {
    const std::optional<ImageBlock> content =
        parseStreamBlock(hexBytes("00000015 00000000 0002 0001 00000002 A1A2 FFFFFF"));
    ASSERT_TRUE(content);
    EXPECT_EQ(content->image, hexBytes("A1 A2"));
    EXPECT_EQ(content->extraValue, 0);
    EXPECT_TRUE(content->trailer.empty());
}

TEST(StreamBlock, Of16Bytes_IsInvalid) {
    EXPECT_FALSE(parseStreamBlock(hexBytes("00000010 00000000 0002 0001 00000000")));
}

TEST(StreamBlock, Of17Bytes_IsValid) {
    EXPECT_TRUE(parseStreamBlock(hexBytes("00000011 00000000 0001 0001 00000001 A1")));
}

TEST(StreamBlock, WithoutImage_IsInvalid) {
    EXPECT_FALSE(parseStreamBlock(hexBytes("00000011 00000000 0001 0001 00000000 A1")));
}

TEST(StreamBlock, ShorterThanItsHeader_IsInvalid) {
    EXPECT_FALSE(parseStreamBlock({}));
    EXPECT_FALSE(parseStreamBlock(hexBytes("00 00 00 05 00")));
}

TEST(StreamBlock, LengthFieldThatIsNotTheSize_IsInvalid) {
    EXPECT_FALSE(parseStreamBlock(hexBytes("00000013 00000000 0002 0001 00000002 A1A2")));
    EXPECT_FALSE(parseStreamBlock(hexBytes("00000011 00000000 0002 0001 00000001 A1A2")));
}

TEST(StreamBlock, ImageLongerThanTheBlockHolds_IsInvalid) {
    EXPECT_FALSE(parseStreamBlock(hexBytes("00000012 00000000 0002 0001 00000003 A1A2")));
    EXPECT_FALSE(parseStreamBlock(hexBytes("00000012 00000000 0002 0001 FFFFFFFF A1A2")));
    EXPECT_FALSE(parseStreamBlock(hexBytes("00000012 00000000 0002 0001 FFFFFFF2 A1A2")));
}

} // namespace
} // namespace ridge
