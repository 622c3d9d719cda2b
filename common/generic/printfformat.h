#pragma once

#include <cstdarg>
#include <string>

/// Lets the compiler check a printf-style format against its arguments, where it can.
#if defined(__MINGW32__) && !defined(__clang__)
#define RIDGE_PRINTF_FORMAT(formatIndex, firstArgument)                                            \
    [[gnu::format(gnu_printf, formatIndex, firstArgument)]]
#elif defined(__GNUC__)
#define RIDGE_PRINTF_FORMAT(formatIndex, firstArgument)                                            \
    [[gnu::format(printf, formatIndex, firstArgument)]]
#else
#define RIDGE_PRINTF_FORMAT(formatIndex, firstArgument)
#endif

namespace ridge {

/// Expands a printf-style format into a string of any length.
RIDGE_PRINTF_FORMAT(1, 2)
std::string formatText(const char* format, ...);

/// The same for arguments that are a list already. No overload: where a list is a pointer, a text
/// would be taken for one.
RIDGE_PRINTF_FORMAT(1, 0)
std::string vformatText(const char* format, std::va_list arguments);

} // namespace ridge
