#pragma once

#include "commanderror.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

namespace ridge::tool {

/// What a command leaves behind: the same for people and for programs. A command that fails may
/// still have achieved something.
struct CommandResult {
    /// Lines, each with its line break.
    std::string text;
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    std::optional<CommandError> failure;
};

/// The result as one JSON object in one line, with its exit status and failure.
[[nodiscard]] std::string toJsonLine(const CommandResult& result);

} // namespace ridge::tool
