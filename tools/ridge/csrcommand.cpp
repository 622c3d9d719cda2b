#include "commands.h"
#include "connecting.h"
#include "filejson.h"
#include "operation.h"
#include "outputfile.h"
#include "scannererror.h"
#include "utf8path.h"

#include <utility>

namespace ridge::tool {
namespace {

/// The scanner cannot be stopped, so the session must not end before it has answered.
std::vector<std::uint8_t> awaitRequest(OperationInbox& inbox, const CommandContext& context) {
    while (true) {
        OperationMessage message = nextMessage(inbox, context);
        if (auto* request = std::get_if<SigningRequest>(&message)) {
            return std::move(request->bytes);
        }
        if (const auto* failure = std::get_if<OperationFailure>(&message)) {
            throw scannerError("creating the request", failure->status, failure->text);
        }
        context.messages.progress("interrupted; the scanner has to finish first");
    }
}

} // namespace

CommandResult runCsr(const CsrOptions& options, const ChosenScanner& scanner,
                     const CommandContext& context) {
    const std::unique_ptr<AtomicFile> file = openOutput(options.output);
    // The inbox outlives the session, whose worker fills it.
    OperationInbox inbox;
    const Interruption::Subscription subscription(context.interruption,
                                                  [&inbox] { inbox.post(InterruptionWish{}); });
    ScannerSession session = connectTo(scanner, context);
    session.createCsr(options.subject, inbox);
    context.messages.progress("the scanner creates the request");
    const std::vector<std::uint8_t> request = awaitRequest(inbox, context);
    context.interruption.throwIfRequested();
    file->commit(request);

    CommandResult result;
    result.text = utf8FromPath(file->path()) + "\n";
    result.json["request"] = fileJson(file->path(), request.size());
    return result;
}

} // namespace ridge::tool
