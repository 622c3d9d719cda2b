#pragma once

#include "clock.h"

#include <cstddef>
#include <istream>
#include <optional>
#include <ostream>
#include <string>

namespace ridge::tool {

struct Terminal {
    /// How many characters of a line can be used.
    std::size_t columns;
    /// Whether it obeys escape sequences, and the user wants them.
    bool colours;
};

/// What the program finds where it is started.
struct Environment {
    /// The standard input.
    std::istream& input;
    bool inputIsTerminal;
    /// The standard output.
    std::ostream& output;
    /// Nothing when the output goes elsewhere.
    std::optional<Terminal> outputTerminal;
    const Clock& clock;
    /// Name and version of the operating system.
    std::string system;
};

} // namespace ridge::tool
