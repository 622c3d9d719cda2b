#include "commands.h"
#include "connecting.h"
#include "filejson.h"
#include "operation.h"
#include "outputfile.h"
#include "utf8path.h"

namespace ridge::tool {

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
    const std::vector<std::uint8_t> request = awaitSigningRequest(inbox, context);
    context.interruption.throwIfRequested();
    file->commit(request);

    CommandResult result;
    result.text = utf8FromPath(file->path()) + "\n";
    result.json["request"] = fileJson(file->path(), request.size());
    return result;
}

} // namespace ridge::tool
