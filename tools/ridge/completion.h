#pragma once

#include "commandmodel.h"

#include <string>

namespace ridge::tool {

/// Scripts that let a shell complete the program's commands, options and values.
[[nodiscard]] std::string bashCompletion(const CommandModel& program);
[[nodiscard]] std::string powershellCompletion(const CommandModel& program);

} // namespace ridge::tool
