#include "framewriter.h"

#include "hexbytes.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ridge {
namespace {

using test::hexBytes;
using test::ramp;
using Bytes = std::vector<std::uint8_t>;
using Writes = std::vector<Bytes>;

/// Keeps the blocks that are written to it.
class WriteCollector final : public SerialPort {
public:
    void purge() override {}
    void close() override {}
    void ignoreErrors() override {}
    void write(const std::uint8_t* bytes, std::uint32_t size) override {
        writes.emplace_back(bytes, bytes + size);
    }

    Writes writes;
};

Writes writesOf(const Bytes& payload, std::size_t scratchSize) {
    WriteCollector port;
    FrameWriter writer(port, scratchSize);
    writer.writeFrame(payload.data(), payload.size());
    return port.writes;
}

Bytes joined(const Writes& writes) {
    Bytes bytes;
    for (const Bytes& block : writes) {
        bytes.insert(bytes.end(), block.begin(), block.end());
    }
    return bytes;
}

TEST(FrameWriter, FullScratch_IsWrittenEvenBetweenTheTwoBytesOfAnEscape) {
    EXPECT_EQ(writesOf(hexBytes("01 02 7E 03"), 4),
              (Writes{hexBytes("7E 01 02 7D"), hexBytes("5E 03 7F")}));
}

TEST(FrameWriter, ByteBehindThePayload_HasNoMeaning) {
    WriteCollector port;
    FrameWriter writer(port, 20);
    const Bytes bytes = hexBytes("01 02 03 7E");
    writer.writeFrame(bytes.data(), 3);
    EXPECT_EQ(port.writes, Writes{hexBytes("7E 01 02 03 7F")});
}

TEST(FrameWriter, FrameThatFillsTheScratchExactly_IsOneWrite) {
    EXPECT_EQ(writesOf(hexBytes("01 02 03"), 5), Writes{hexBytes("7E 01 02 03 7F")});
    EXPECT_EQ(writesOf(hexBytes("7D 7F"), 6), Writes{hexBytes("7E 7D 5D 7D 5F 7F")});
}

TEST(FrameWriter, FrameThatFillsTheScratchTwice_IsTwoWrites) {
    EXPECT_EQ(writesOf(hexBytes("01 02 03 04 05 06"), 4),
              (Writes{hexBytes("7E 01 02 03"), hexBytes("04 05 06 7F")}));
}

TEST(FrameWriter, FrameOfOneByteMoreThanTheScratch_IsTwoWrites) {
    EXPECT_EQ(writesOf(hexBytes("01 02 03"), 4), (Writes{hexBytes("7E 01 02 03"), hexBytes("7F")}));
}

TEST(FrameWriter, NoScratchSize_LeadsToAnEmptyWrite) {
    for (std::size_t scratchSize = 1; scratchSize <= 12; ++scratchSize) {
        for (const Bytes& block : writesOf(hexBytes("01 7E 02 7D 03 7F"), scratchSize)) {
            EXPECT_FALSE(block.empty()) << scratchSize;
            EXPECT_LE(block.size(), scratchSize);
        }
    }
}

TEST(FrameWriter, LongPayload_IsTheSameBytesWithEveryScratchSize) {
    const Bytes payload = ramp(10005);
    const Writes whole = writesOf(payload, 20012);
    ASSERT_EQ(whole.size(), 1U);
    // 0x7D, 0x7E and 0x7F come 39 times each.
    EXPECT_EQ(whole[0].size(), 10005U + 3 * 39 + 2);
    for (const std::size_t scratchSize : {1U, 2U, 3U, 7U, 1000U}) {
        EXPECT_EQ(joined(writesOf(payload, scratchSize)), whole[0]) << scratchSize;
    }
}

TEST(FrameWriter, SecondFrame_StartsWithAnEmptyScratch) {
    WriteCollector port;
    FrameWriter writer(port, 4);
    const Bytes first = hexBytes("01 02 03");
    const Bytes second = hexBytes("04");
    writer.writeFrame(first.data(), first.size());
    writer.writeFrame(second.data(), second.size());
    EXPECT_EQ(port.writes, (Writes{hexBytes("7E 01 02 03"), hexBytes("7F"), hexBytes("7E 04 7F")}));
}

} // namespace
} // namespace ridge
