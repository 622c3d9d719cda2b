#pragma once

#include "interruption.h"

namespace ridge::tool {

/// Turns the console's Ctrl-C and Ctrl-Break into an interruption as long as the object lives; one
/// at a time. The second one ends the process at once.
class ConsoleInterruption {
public:
    explicit ConsoleInterruption(Interruption& interruption);
    ~ConsoleInterruption();

    ConsoleInterruption(const ConsoleInterruption&) = delete;
    ConsoleInterruption& operator=(const ConsoleInterruption&) = delete;
};

} // namespace ridge::tool
