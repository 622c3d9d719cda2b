#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// The values that have a meaning of their own inside and around a frame.
namespace ridge {

inline constexpr std::uint8_t escapeByte = 0x7D;
inline constexpr std::uint8_t startFlag = 0x7E;
inline constexpr std::uint8_t endFlag = 0x7F;
/// What an escaped byte is lowered by on the line.
inline constexpr std::uint8_t escapeOffset = 0x20;

/// Whether a byte of a payload must be escaped.
constexpr bool isSpecial(std::uint8_t byte) {
    return byte == escapeByte || byte == startFlag || byte == endFlag;
}

/// Copies the bytes before the first special one and returns how many they are. `to` has room for
/// `size` bytes; what it holds behind the copied ones is of no meaning.
inline std::size_t copyPlain(const std::uint8_t* from, std::size_t size, std::uint8_t* to) {
    using Word = std::uint64_t;
    constexpr Word everyByte = 0x0101010101010101;
    constexpr Word topBits = everyByte * 0x80;
    std::size_t copied = 0;
    for (; copied + sizeof(Word) <= size; copied += sizeof(Word)) {
        Word word = 0;
        std::memcpy(&word, from + copied, sizeof(word));
        std::memcpy(to + copied, &word, sizeof(word));
        // The special values are the largest below 0x80: a byte below it that 3 lifts to it is one.
        // No sum of seven bits and 3 reaches into the next byte.
        const Word special =
            ((word & ~topBits) + everyByte * (0x80 - escapeByte)) & ~word & topBits;
        if (special != 0) {
            const int bitsBefore = std::endian::native == std::endian::little
                                       ? std::countr_zero(special)
                                       : std::countl_zero(special);
            return copied + static_cast<std::size_t>(bitsBefore) / 8;
        }
    }
    for (; copied < size && !isSpecial(from[copied]); ++copied) {
        to[copied] = from[copied];
    }
    return copied;
}

} // namespace ridge
