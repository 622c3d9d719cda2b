#pragma once

#include <cstdint>

/// The values that have a meaning of their own inside and around a frame.
namespace ridge {

inline constexpr std::uint8_t escapeByte = 0x7D;
inline constexpr std::uint8_t startFlag = 0x7E;
inline constexpr std::uint8_t endFlag = 0x7F;
/// What an escaped byte is lowered by on the line.
inline constexpr std::uint8_t escapeOffset = 0x20;

} // namespace ridge
