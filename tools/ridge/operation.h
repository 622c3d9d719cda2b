#pragma once

#include "commandcontext.h"
#include "operationinbox.h"
#include "scannersession.h"

#include <optional>
#include <string>

namespace ridge::tool {

/// Waits for the messages of a running operation. A status line tells what it waits for and how
/// long the operation has been running.
class OperationWait {
public:
    OperationWait(OperationInbox& inbox, const CommandContext& context);

    [[nodiscard]] OperationMessage next(const std::string& awaited);
    /// Nothing when none arrives in time.
    [[nodiscard]] std::optional<OperationMessage> nextUntil(Clock::Time deadline,
                                                            const std::string& awaited);

private:
    OperationInbox& inbox;
    Messages& messages;
    const Clock& clock;
    const Clock::Time start;
};

/// Stops the operation. Throws CommandError when the scanner does not confirm it.
void stopOperation(ScannerSession& session, OperationInbox& inbox);

/// Stops the operation because the user wants it, and throws Interrupted.
[[noreturn]] void stopInterrupted(ScannerSession& session, OperationInbox& inbox,
                                  const CommandContext& context);

/// Waits for the outcome of a signing request, which cannot be stopped: the session must not end
/// before. Throws CommandError when the scanner made none.
[[nodiscard]] std::vector<std::uint8_t> awaitSigningRequest(OperationInbox& inbox,
                                                            const CommandContext& context);

/// Only this failure says that no finger came; the same status may come from the port.
[[nodiscard]] bool isCaptureTimeout(const OperationFailure& failure);

/// "300 x 400 pixels, 120000 bytes"
[[nodiscard]] std::string sizes(const CapturedImage& image);

} // namespace ridge::tool
