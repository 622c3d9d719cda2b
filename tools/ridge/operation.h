#pragma once

#include "commandcontext.h"
#include "operationinbox.h"
#include "scannersession.h"

#include <string>

namespace ridge::tool {

/// The next message of a running operation; says from time to time that it is still waiting.
[[nodiscard]] OperationMessage nextMessage(OperationInbox& inbox, const CommandContext& context);

/// Stops the operation. Throws CommandError when the scanner does not confirm it.
void stopOperation(ScannerSession& session, OperationInbox& inbox);

/// Stops the operation because the user wants it, and throws Interrupted.
[[noreturn]] void stopInterrupted(ScannerSession& session, OperationInbox& inbox,
                                  const CommandContext& context);

/// "300 x 400 pixels, 120000 bytes"
[[nodiscard]] std::string sizes(const CapturedImage& image);

} // namespace ridge::tool
