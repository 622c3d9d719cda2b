#pragma once

#include "interruption.h"
#include "messages.h"

namespace ridge::tool {

/// What a command works with beside its options.
struct CommandContext {
    Messages& messages;
    Interruption& interruption;
};

} // namespace ridge::tool
