#pragma once

#include "printfformat.h"

namespace ridge {

/// Levels of log lines, from the most to the least verbose.
inline constexpr char logDebug = 'D';
inline constexpr char logInformation = 'I';
inline constexpr char logWarning = 'W';
inline constexpr char logError = 'E';

/// Writes one line to the installed logger, if there is one and its threshold lets the level
/// pass; the format is not expanded otherwise. A line that cannot be built for want of memory is
/// lost: diagnostics never change what an operation comes to.
RIDGE_PRINTF_FORMAT(4, 5)
void logMessage(char level, const char* sourceFile, int line, const char* format, ...) noexcept;

} // namespace ridge

/// Logs with the place of the calling statement.
#define RIDGE_LOG(level, ...) ::ridge::logMessage((level), __FILE__, __LINE__, __VA_ARGS__)
