#include "imageblock.h"

#include "hexbytes.h"
#include "throwsridgeexception.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace ridge {
namespace {

using test::hexBytes;
using test::throwsRidgeException;
using Bytes = std::vector<std::uint8_t>;

void append16(Bytes& bytes, std::size_t value) {
    bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    bytes.push_back(static_cast<std::uint8_t>(value));
}

void append32(Bytes& bytes, std::size_t value) {
    append16(bytes, value >> 16);
    append16(bytes, value);
}

/// A chunk of `size` bytes that announces a block of `length`.
Bytes firstChunk(std::size_t length, std::size_t size) {
    Bytes chunk;
    append32(chunk, length);
    chunk.resize(size);
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

/// What a scanner would send; the length fields may be bent to say something else.
struct BlockFields {
    std::size_t flags = 0;
    Bytes image = hexBytes("11 22 33 44 55 66");
    std::uint8_t extraValue = 0x77;
    Bytes trailer = hexBytes("88 99");
    std::int64_t lengthError = 0;
    std::int64_t imageLengthError = 0;
    std::int64_t trailerLengthError = 0;
};

std::size_t bent(std::size_t value, std::int64_t error) {
    return static_cast<std::size_t>(static_cast<std::int64_t>(value) + error);
}

Bytes streamBlock(const BlockFields& fields) {
    Bytes block;
    append32(block, bent(16 + fields.image.size(), fields.lengthError));
    append32(block, fields.flags);
    append16(block, 0x0102);
    append16(block, 0x0304);
    append32(block, bent(fields.image.size(), fields.imageLengthError));
    block.insert(block.end(), fields.image.begin(), fields.image.end());
    return block;
}

Bytes captureBlock(const BlockFields& fields) {
    Bytes block = streamBlock(fields);
    block.push_back(fields.extraValue);
    append16(block, bent(fields.trailer.size(), fields.trailerLengthError));
    block.insert(block.end(), fields.trailer.begin(), fields.trailer.end());
    Bytes length;
    append32(length, bent(block.size(), fields.lengthError));
    std::copy(length.begin(), length.end(), block.begin());
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
    BlockFields fields;
    fields.image = Bytes(70000, 0x5C);
    fields.trailer = Bytes(60000, 0x3D);
    const std::optional<ImageBlock> content = parseCaptureBlock(captureBlock(fields));
    ASSERT_TRUE(content);
    EXPECT_EQ(content->width, 0x0102);
    EXPECT_EQ(content->height, 0x0304);
    EXPECT_EQ(content->image, Bytes(70000, 0x5C));
    EXPECT_EQ(content->extraValue, 0x77);
    EXPECT_EQ(content->trailer, Bytes(60000, 0x3D));
}

TEST(CaptureBlock, FlagC_CountsOnlyTogetherWithFlagB) {
    const std::vector<int> expected{0, 1, 2, 3, 0, 1, 6, 7};
    for (std::size_t flags = 0; flags < 8; ++flags) {
        BlockFields fields;
        fields.flags = flags;
        EXPECT_EQ(flagsOf(parseCaptureBlock(captureBlock(fields))), expected[flags]);
        EXPECT_EQ(flagsOf(parseStreamBlock(streamBlock(fields))), expected[flags]);
    }
}

TEST(CaptureBlock, OtherFlagBits_AreIgnored) {
    BlockFields fields;
    fields.flags = 0xFFFFFFF8;
    EXPECT_EQ(flagsOf(parseCaptureBlock(captureBlock(fields))), 0);
    EXPECT_EQ(flagsOf(parseStreamBlock(streamBlock(fields))), 0);
}

TEST(CaptureBlock, WithoutTrailer_IsValid) {
    BlockFields fields;
    fields.trailer.clear();
    const std::optional<ImageBlock> content = parseCaptureBlock(captureBlock(fields));
    ASSERT_TRUE(content);
    EXPECT_TRUE(content->trailer.empty());
    EXPECT_EQ(content->image, fields.image);
}

TEST(CaptureBlock, WithoutImage_IsValid) {
    BlockFields fields;
    fields.image.clear();
    const std::optional<ImageBlock> content = parseCaptureBlock(captureBlock(fields));
    ASSERT_TRUE(content);
    EXPECT_TRUE(content->image.empty());
    EXPECT_EQ(content->trailer, fields.trailer);
    EXPECT_EQ(content->extraValue, 0x77);
}

TEST(CaptureBlock, Of19Bytes_IsInvalid_ThoughItsPartsFit) {
    BlockFields fields;
    fields.image.clear();
    fields.trailer.clear();
    const Bytes block = captureBlock(fields);
    ASSERT_EQ(block.size(), 19U);
    EXPECT_FALSE(parseCaptureBlock(block));
}

TEST(CaptureBlock, Of20Bytes_IsValid) {
    BlockFields fields;
    fields.image.clear();
    fields.trailer = hexBytes("88");
    const Bytes block = captureBlock(fields);
    ASSERT_EQ(block.size(), 20U);
    EXPECT_TRUE(parseCaptureBlock(block));
}

TEST(CaptureBlock, ShorterThanItsHeader_IsInvalid) {
    EXPECT_FALSE(parseCaptureBlock({}));
    EXPECT_FALSE(parseCaptureBlock(hexBytes("00 00 00 05 00")));
}

TEST(CaptureBlock, LengthFieldThatIsNotTheSize_IsInvalid) {
    for (const std::int64_t error : {-1, 1}) {
        BlockFields fields;
        fields.lengthError = error;
        EXPECT_FALSE(parseCaptureBlock(captureBlock(fields)));
    }
}

TEST(CaptureBlock, ImageLongerThanTheBlockHolds_IsInvalid) {
    BlockFields fields;
    fields.imageLengthError = 3; // the image would end with the block
    EXPECT_FALSE(parseCaptureBlock(captureBlock(fields)));
    fields.imageLengthError = 0xFFFFFFFF - 6; // 0xFFFFFFFF + 19 must not wrap around
    EXPECT_FALSE(parseCaptureBlock(captureBlock(fields)));
    fields.imageLengthError = 0xFFFFFFF0 - 6;
    EXPECT_FALSE(parseCaptureBlock(captureBlock(fields)));
}

TEST(CaptureBlock, TrailerThatDoesNotEndWithTheBlock_IsInvalid) {
    for (const std::int64_t error : {-1, 1, 0xFFF0}) {
        BlockFields fields;
        fields.trailerLengthError = error;
        EXPECT_FALSE(parseCaptureBlock(captureBlock(fields)));
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
