#include "operation.h"

#include "scannererror.h"

#include <algorithm>
#include <utility>

namespace ridge::tool {
namespace {

using std::chrono::milliseconds;

/// How often the status line changes.
constexpr milliseconds tick{100};

class StatusErasedAtEnd {
public:
    explicit StatusErasedAtEnd(Messages& shownMessages) : messages(shownMessages) {}
    ~StatusErasedAtEnd() { messages.eraseStatus(); }

    StatusErasedAtEnd(const StatusErasedAtEnd&) = delete;
    StatusErasedAtEnd& operator=(const StatusErasedAtEnd&) = delete;

private:
    Messages& messages;
};

} // namespace

OperationWait::OperationWait(OperationInbox& operationInbox, const CommandContext& context)
    : inbox(operationInbox), messages(context.messages), clock(context.environment.clock),
      start(clock.now()) {}

OperationMessage OperationWait::next(const std::string& awaited) {
    return nextUntil(Clock::Time::max(), awaited).value();
}

std::optional<OperationMessage> OperationWait::nextUntil(Clock::Time deadline,
                                                         const std::string& awaited) {
    if (auto message = inbox.poll()) {
        return message;
    }
    const StatusErasedAtEnd erasing(messages);
    for (Clock::Time now = clock.now(); now < deadline; now = clock.now()) {
        messages.status(awaited + ", " +
                        seconds(std::chrono::duration_cast<milliseconds>(now - start)));
        const auto patience = std::min<Clock::Time::duration>(tick, deadline - now);
        if (auto message = inbox.wait(std::chrono::ceil<milliseconds>(patience))) {
            return message;
        }
    }
    return std::nullopt;
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

std::vector<std::uint8_t> awaitSigningRequest(OperationInbox& inbox,
                                              const CommandContext& context) {
    OperationWait wait(inbox, context);
    while (true) {
        OperationMessage message = wait.next("the scanner creates the request");
        if (auto* request = std::get_if<SigningRequest>(&message)) {
            return std::move(request->bytes);
        }
        if (const auto* failure = std::get_if<OperationFailure>(&message)) {
            throw scannerError("creating the request", failure->status, failure->text);
        }
        context.messages.progress("interrupted; the scanner has to finish first");
    }
}

bool isCaptureTimeout(const OperationFailure& failure) {
    return failure.status == RIDGE_TIMEOUT && failure.text == "Capture timeout";
}

std::string sizes(const CapturedImage& image) {
    return std::to_string(image.width) + " x " + std::to_string(image.height) + " pixels, " +
           std::to_string(image.bytes.size()) + " bytes";
}

} // namespace ridge::tool
