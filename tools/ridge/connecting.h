#pragma once

#include "commandcontext.h"
#include "scannerchoice.h"
#include "scannersession.h"

namespace ridge::tool {

/// Opens a session, saying so. Throws CommandError, also when the user has interrupted it.
[[nodiscard]] ScannerSession connectTo(const ChosenScanner& scanner, const CommandContext& context);

} // namespace ridge::tool
