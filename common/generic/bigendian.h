#pragma once

#include <cstdint>
#include <vector>

/// Every multi-byte number of the scanner protocol travels high byte first.
namespace ridge {

inline std::uint16_t readBigEndian16(const std::uint8_t* bytes) {
    return static_cast<std::uint16_t>((bytes[0] << 8) | bytes[1]);
}

inline std::uint32_t readBigEndian32(const std::uint8_t* bytes) {
    return (std::uint32_t{bytes[0]} << 24) | (std::uint32_t{bytes[1]} << 16) |
           (std::uint32_t{bytes[2]} << 8) | std::uint32_t{bytes[3]};
}

inline void appendBigEndian16(std::vector<std::uint8_t>& bytes, std::uint16_t value) {
    bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    bytes.push_back(static_cast<std::uint8_t>(value));
}

inline void appendBigEndian32(std::vector<std::uint8_t>& bytes, std::uint32_t value) {
    appendBigEndian16(bytes, static_cast<std::uint16_t>(value >> 16));
    appendBigEndian16(bytes, static_cast<std::uint16_t>(value));
}

} // namespace ridge
