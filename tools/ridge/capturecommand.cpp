#include "commands.h"
#include "connecting.h"
#include "greypng.h"
#include "hostjudge.h"
#include "imagedrawing.h"
#include "imagejson.h"
#include "inputfile.h"
#include "operation.h"
#include "outputfile.h"
#include "scannererror.h"
#include "utf8path.h"

#include <utility>

namespace ridge::tool {
namespace {

ridgeCaptureParameters captureParameters(const CaptureOptions& options) {
    ridgeCaptureParameters parameters{};
    parameters.fingerPosition = options.finger;
    parameters.captureTimeout = options.timeout;
    parameters.captureOption = options.option;
    return parameters;
}

CommandError captureError(const OperationFailure& failure) {
    return scannerError("capturing", failure.status, failure.text,
                        isCaptureTimeout(failure) ? ExitStatus::noImage : ExitStatus::libraryError);
}

/// Waits for the image that ends the capture.
CapturedImage finalImage(ScannerSession& session, OperationInbox& inbox, HostJudge* judge,
                         const CommandContext& context) {
    OperationWait wait(inbox, context);
    std::string awaited = judge == nullptr ? "waiting for a finger" : "waiting for a good image";
    while (true) {
        OperationMessage message = wait.next(awaited);
        if (const auto* event = std::get_if<FingerEvent>(&message)) {
            context.messages.progress(
                "event after " + seconds(std::chrono::milliseconds(event->elapsedMilliseconds)));
            awaited = "waiting for the image";
        } else if (const auto* failure = std::get_if<OperationFailure>(&message)) {
            throw captureError(*failure);
        } else if (auto* image = std::get_if<CapturedImage>(&message)) {
            if (judge == nullptr || judge->hasAccepted()) {
                context.messages.progress("image received: " + sizes(*image));
                return std::move(*image);
            }
            judge->judge(*image);
            if (judge->hasAccepted()) {
                awaited = "waiting for the final image";
            }
        } else {
            stopInterrupted(session, inbox, context);
        }
    }
}

} // namespace

CommandResult runCapture(const CaptureOptions& options, const ChosenScanner& scanner,
                         const CommandContext& context) {
    const std::vector<std::uint8_t> block = readBlock(options.block);
    const std::unique_ptr<AtomicFile> file = openOutput(options.output);
    // The inbox outlives the session, whose worker fills it.
    OperationInbox inbox;
    const Interruption::Subscription subscription(context.interruption,
                                                  [&inbox] { inbox.post(InterruptionWish{}); });
    ScannerSession session = connectTo(scanner, context);

    CommandResult result;
    CapturedImage image;
    if (options.hostAssisted) {
        HostJudge judge(session, inbox, context, options.attempts);
        session.startHostAssistedCapture(captureParameters(options), block, inbox);
        context.messages.progress("waiting for a good image");
        image = finalImage(session, inbox, &judge, context);
        result.json["rejectedImages"] = judge.rejections();
    } else {
        session.startCapture(captureParameters(options), block, inbox);
        context.messages.progress("waiting for a finger, at most " +
                                  seconds(std::chrono::milliseconds(options.timeout)));
        image = finalImage(session, inbox, nullptr, context);
    }
    file->commit(encodeGreyPng(image));
    if (options.show) {
        show(image, context.environment);
    }

    result.text = utf8FromPath(file->path()) + "\n";
    result.json["image"] = imageJson(image, file->path());
    return result;
}

} // namespace ridge::tool
