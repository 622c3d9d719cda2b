#pragma once

#include "commandcontext.h"
#include "scannersession.h"

#include <string>

namespace ridge::tool {

/// Opens a session, saying so. Throws CommandError, also when the user has interrupted it.
[[nodiscard]] ScannerSession connectTo(const std::string& port, const CommandContext& context);

} // namespace ridge::tool
