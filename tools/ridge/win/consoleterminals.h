#pragma once

#include "environment.h"

#include <cstddef>
#include <optional>

namespace ridge::tool {

[[nodiscard]] bool inputIsTerminal();
/// The terminal that the standard output goes to.
[[nodiscard]] std::optional<Terminal> outputTerminal();
/// The width of the one that the standard error goes to.
[[nodiscard]] std::optional<std::size_t> errorColumns();

/// Lets the console that the standard output goes to obey escape sequences as long as the object
/// lives, if it can.
class ConsoleEscapeSequences {
public:
    ConsoleEscapeSequences();
    ~ConsoleEscapeSequences();

    ConsoleEscapeSequences(const ConsoleEscapeSequences&) = delete;
    ConsoleEscapeSequences& operator=(const ConsoleEscapeSequences&) = delete;

private:
    std::optional<unsigned long> modeBefore;
};

} // namespace ridge::tool
