#include "commands.h"
#include "connecting.h"
#include "greypng.h"
#include "imagedrawing.h"
#include "imagejson.h"
#include "inputfile.h"
#include "operation.h"
#include "outputfile.h"
#include "scannererror.h"
#include "utf8path.h"

#include <memory>

namespace ridge::tool {
namespace {

std::filesystem::path imagePath(const StreamOptions& options, std::uint32_t number) {
    constexpr std::size_t width = 4;
    const std::string digits = std::to_string(number);
    const std::string zeros(digits.size() < width ? width - digits.size() : 0, '0');
    return options.directory / ("image-" + zeros + digits + ".png");
}

/// After this failure the stream goes on.
bool isInvalidImage(const OperationFailure& failure) {
    return failure.status == RIDGE_MALFORMED_DATA && failure.text == "Invalid capture data";
}

/// The files of a stream; each is opened before its image arrives.
class ImageSeries {
public:
    ImageSeries(const StreamOptions& streamOptions, const CommandContext& commandContext)
        : options(streamOptions), context(commandContext), next(openOutput(imagePath(options, 1))) {
    }

    [[nodiscard]] std::uint32_t stored() const { return count; }
    [[nodiscard]] std::uint32_t invalid() const { return leftOut; }
    [[nodiscard]] bool isComplete() const { return count == options.count; }
    [[nodiscard]] const nlohmann::ordered_json& json() const { return images; }

    void store(const CapturedImage& image) {
        next->commit(encodeGreyPng(image));
        ++count;
        images.push_back(imageJson(image, next->path()));
        context.messages.progress("image " + std::to_string(count) + " of " +
                                  std::to_string(options.count) + ": " + sizes(image) + ", " +
                                  utf8FromPath(next->path()));
        if (options.show) {
            show(image, context.environment);
        }
        if (!isComplete()) {
            next = std::make_unique<AtomicFile>(imagePath(options, count + 1));
        }
    }

    void leaveOut(const CommandError& reason) {
        ++leftOut;
        context.messages.progress(std::string("image left out: ") + reason.what());
    }

private:
    const StreamOptions& options;
    const CommandContext& context;
    std::unique_ptr<AtomicFile> next;
    std::uint32_t count = 0;
    std::uint32_t leftOut = 0;
    nlohmann::ordered_json images = nlohmann::ordered_json::array();
};

/// Stores images until there are enough of them.
void storeImages(ScannerSession& session, OperationInbox& inbox, ImageSeries& series,
                 const CommandContext& context) {
    OperationWait wait(inbox, context);
    while (!series.isComplete()) {
        const OperationMessage message =
            wait.next("waiting for image " + std::to_string(series.stored() + 1));
        if (const auto* image = std::get_if<CapturedImage>(&message)) {
            series.store(*image);
        } else if (const auto* failure = std::get_if<OperationFailure>(&message)) {
            if (!isInvalidImage(*failure)) {
                throw scannerError("streaming", failure->status, failure->text);
            }
            series.leaveOut(scannerError("streaming", failure->status, failure->text));
        } else if (std::holds_alternative<InterruptionWish>(message)) {
            stopInterrupted(session, inbox, context);
        }
    }
    context.messages.progress("stopping");
    stopOperation(session, inbox);
}

} // namespace

CommandResult runStream(const StreamOptions& options, const ChosenScanner& scanner,
                        const CommandContext& context) {
    const std::vector<std::uint8_t> block = readBlock(options.block);
    ImageSeries series(options, context);
    // The inbox outlives the session, whose worker fills it.
    OperationInbox inbox;
    const Interruption::Subscription subscription(context.interruption,
                                                  [&inbox] { inbox.post(InterruptionWish{}); });
    ScannerSession session = connectTo(scanner, context);
    session.startStream(block, inbox);
    context.messages.progress("waiting for images");

    CommandResult result;
    try {
        storeImages(session, inbox, series, context);
    } catch (const CommandError& failure) {
        result.failure = failure;
    }
    const std::filesystem::path folder = std::filesystem::absolute(options.directory);
    result.text = std::to_string(series.stored()) + " of " + std::to_string(options.count) +
                  " images in " + utf8FromPath(folder) + "\n";
    result.json["directory"] = utf8FromPath(folder);
    result.json["images"] = series.json();
    result.json["invalidImages"] = series.invalid();
    return result;
}

} // namespace ridge::tool
