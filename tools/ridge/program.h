#pragma once

#include "environment.h"
#include "exitstatus.h"
#include "interruption.h"
#include "messages.h"

#include <string>
#include <vector>

namespace ridge::tool {

/// Runs the program with the arguments that follow its name.
[[nodiscard]] ExitStatus runProgram(const std::vector<std::string>& arguments,
                                    const Environment& environment, Messages& messages,
                                    Interruption& interruption);

} // namespace ridge::tool
