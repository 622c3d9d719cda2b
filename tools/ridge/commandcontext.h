#pragma once

#include "environment.h"
#include "interruption.h"
#include "messages.h"

#include <cstdint>
#include <optional>

namespace ridge::tool {

/// What a command works with beside its options.
struct CommandContext {
    const Environment& environment;
    Messages& messages;
    Interruption& interruption;
    /// From which level on the library's log is shown; nothing when it is not.
    std::optional<std::int32_t> logLevel;
};

} // namespace ridge::tool
