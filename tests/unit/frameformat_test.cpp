#include "frameformat.h"

#include "hexbytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ridge {
namespace {

using test::hexBytes;
using Bytes = std::vector<std::uint8_t>;

constexpr bool isOneOfThree(unsigned value) {
    return value == 0x7D || value == 0x7E || value == 0x7F;
}

TEST(FrameFormat, SpecialBytes_AreEscapeAndFlags) {
    for (unsigned value = 0; value < 256; ++value) {
        EXPECT_EQ(isSpecial(static_cast<std::uint8_t>(value)), isOneOfThree(value)) << value;
    }
}

/// What is copied of the bytes, into room that ends where they end.
Bytes plainBytesOf(const Bytes& bytes) {
    Bytes copy(bytes.size());
    copy.resize(copyPlain(bytes.data(), bytes.size(), copy.data()));
    return copy;
}

TEST(FrameFormat, EachValueAtEachPlace_IsCopiedUnlessItIsSpecial) {
    // More than two words, and an odd rest.
    constexpr std::size_t size = 21;
    for (const std::uint8_t around : hexBytes("00 7C 80 FF")) {
        for (std::size_t place = 0; place < size; ++place) {
            for (unsigned value = 0; value < 256; ++value) {
                Bytes bytes(size, around);
                bytes[place] = static_cast<std::uint8_t>(value);
                Bytes expected = bytes;
                expected.resize(isOneOfThree(value) ? place : size);
                ASSERT_EQ(plainBytesOf(bytes), expected) << place << ' ' << value;
            }
        }
    }
}

TEST(FrameFormat, OfSeveralSpecialBytes_TheFirstEndsTheCopy) {
    EXPECT_EQ(plainBytesOf(hexBytes("01 02 7F 04 7D 06 7E 08")), hexBytes("01 02"));
    EXPECT_EQ(plainBytesOf(hexBytes("7E 02 7F 04 7D 06 7E 7D")), Bytes());
}

TEST(FrameFormat, NoBytes_AreNoneCopied) {
    EXPECT_EQ(copyPlain(nullptr, 0, nullptr), 0U);
}

TEST(FrameFormat, RoomBehindTheBytes_StaysAsItIs) {
    for (std::size_t size = 0; size <= 17; ++size) {
        const Bytes bytes(size, 0x11);
        Bytes room(size + 8, 0xEE);
        Bytes expected = room;
        std::copy(bytes.begin(), bytes.end(), expected.begin());
        EXPECT_EQ(copyPlain(bytes.data(), size, room.data()), size);
        EXPECT_EQ(room, expected);
    }
}

} // namespace
} // namespace ridge
