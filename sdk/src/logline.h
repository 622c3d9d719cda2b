#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace ridge {

/// The fields that may stand before a line's message.
inline constexpr std::uint32_t LOG_PREFIX_LOCATION = 1;
inline constexpr std::uint32_t LOG_PREFIX_THREAD = 2;
inline constexpr std::uint32_t LOG_PREFIX_LEVEL = 4;
inline constexpr std::uint32_t LOG_PREFIX_TIME = 8;
inline constexpr std::uint32_t LOG_PREFIX_ALL =
    LOG_PREFIX_LOCATION | LOG_PREFIX_THREAD | LOG_PREFIX_LEVEL | LOG_PREFIX_TIME;

/// Where a log line comes from.
struct LogOrigin {
    char level;
    const char* sourceFile;
    int line;
};

/// Makes the finished line: the wanted fields in brackets, if there are any, and the message on one
/// line. A null time stands for one that cannot be told.
std::string buildLogLine(std::uint32_t fields, const LogOrigin& origin, const std::tm* localTime,
                         std::string message);

} // namespace ridge
