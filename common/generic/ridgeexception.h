#pragma once

#include "printfformat.h"

#include <cstdint>
#include <exception>
#include <string>

namespace ridge {

/// The one exception of all layers: a status code and the text that the caller of the library
/// gets to read. Constructing it logs both with the place of the throwing statement.
class RidgeException : public std::exception {
public:
    RIDGE_PRINTF_FORMAT(5, 6)
    RidgeException(const char* sourceFile, int line, std::int32_t code, const char* format, ...);

    /// A serial port failure with a finished text, which may hold anything, percent signs too.
    RidgeException(const char* sourceFile, int line, std::string message);

    [[nodiscard]] std::int32_t code() const noexcept { return statusCode; }
    [[nodiscard]] const char* what() const noexcept override { return message.c_str(); }

private:
    void logConstruction(const char* sourceFile, int line) const noexcept;

    std::int32_t statusCode;
    std::string message;
};

} // namespace ridge

/// Makes the exception for `throw` with the place of the throwing statement.
#define RIDGE_EXCEPTION(...) ::ridge::RidgeException(__FILE__, __LINE__, __VA_ARGS__)
