#include "operation.h"

#include "scannererror.h"

#include <utility>

namespace ridge::tool {
namespace {

constexpr std::chrono::seconds silence{5};

} // namespace

OperationMessage nextMessage(OperationInbox& inbox, const CommandContext& context) {
    while (true) {
        if (auto message = inbox.wait(silence)) {
            return std::move(*message);
        }
        context.messages.progress("still waiting");
    }
}

void stopOperation(ScannerSession& session, OperationInbox& inbox) {
    session.stop();
    while (const auto message = inbox.poll()) {
        if (const auto* failure = std::get_if<OperationFailure>(&*message)) {
            throw scannerError("stopping", failure->status, failure->text);
        }
    }
}

void stopInterrupted(ScannerSession& session, OperationInbox& inbox,
                     const CommandContext& context) {
    context.messages.progress("interrupted, stopping");
    try {
        stopOperation(session, inbox);
    } catch (const CommandError& failure) {
        context.messages.error(failure.what());
    }
    throw Interrupted();
}

std::string sizes(const CapturedImage& image) {
    return std::to_string(image.width) + " x " + std::to_string(image.height) + " pixels, " +
           std::to_string(image.bytes.size()) + " bytes";
}

} // namespace ridge::tool
