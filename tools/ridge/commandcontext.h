#pragma once

#include "interruption.h"
#include "messages.h"

#include <istream>

namespace ridge::tool {

/// What a command works with beside its options.
struct CommandContext {
    /// The standard input.
    std::istream& input;
    Messages& messages;
    Interruption& interruption;
};

} // namespace ridge::tool
