#pragma once

#include "exitstatus.h"
#include "interruption.h"
#include "messages.h"

#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace ridge::tool {

/// Runs the program with the arguments that follow its name. `input` is the standard input; results
/// go to `output`.
[[nodiscard]] ExitStatus runProgram(const std::vector<std::string>& arguments, std::istream& input,
                                    std::ostream& output, Messages& messages,
                                    Interruption& interruption);

} // namespace ridge::tool
