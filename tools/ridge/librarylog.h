#pragma once

#include "messages.h"

#include <cstdint>

namespace ridge::tool {

/// Shows the library's log lines of a level ('D', 'I', 'W' or 'E') and above, from now on and as
/// long as the process lives: so must the messages.
void showLibraryLog(std::int32_t level, Messages& messages);

} // namespace ridge::tool
