#pragma once

#include <cstdint>

/// Results of the exported functions, as the inner layers put them into exceptions.
namespace ridge::status {

inline constexpr std::int32_t success = 0;
inline constexpr std::int32_t invalidArgument = 2;
inline constexpr std::int32_t nullArgument = 3;
inline constexpr std::int32_t unexpected = 4;
inline constexpr std::int32_t serialPort = 5;
inline constexpr std::int32_t protocol = 6;
inline constexpr std::int32_t timeout = 7;
inline constexpr std::int32_t contextInUse = 8;
inline constexpr std::int32_t noResponse = 9;
inline constexpr std::int32_t malformedData = 10;
inline constexpr std::int32_t notConnected = 11;
inline constexpr std::int32_t captureActive = 12;
inline constexpr std::int32_t deviceFailure = 13;
inline constexpr std::int32_t unexpectedResponse = 14;

} // namespace ridge::status
