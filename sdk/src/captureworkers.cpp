// What the workers of a session do: captures, host-assisted captures and streams.

#include "ridgedevice.h"

#include "commandpayloads.h"
#include "imageblock.h"
#include "logmessage.h"
#include "monotonictime.h"
#include "printfformat.h"
#include "ridgeexception.h"
#include "statuscode.h"

#include <mutex>
#include <optional>
#include <utility>

namespace ridge {
namespace {

constexpr std::uint32_t verdictRejected = 0;
/// What the host waits beyond the scanner's own capture time-out.
constexpr std::uint32_t captureGraceMs = 3000;

std::vector<std::uint8_t> copyBlock(const std::uint8_t* block) {
    if (block == nullptr) {
        return {};
    }
    return {block, block + parameterBlockSize};
}

void unmask(std::vector<std::uint8_t>& image, const CaptureMask& mask) {
    for (std::size_t index = 0; index < image.size(); ++index) {
        image[index] ^= mask[index % mask.size()];
    }
}

void reportUnparsable(CaptureListener& listener) {
    RIDGE_LOG(logError, "Failed to parse capture data received from device");
    listener.onError(status::malformedData, "Invalid capture data");
}

void logStreamMode(bool stream) {
    RIDGE_LOG(logInformation, "Stream mode:%c", stream ? 'Y' : 'N');
}

void deliver(const ImageBlock& content, CaptureListener& listener) {
    listener.onCaptureComplete(content.flagA, content.flagB, content.flagC, content.width,
                               content.height, content.image, content.extraValue, content.trailer);
}

} // namespace

void RidgeDevice::startCapture(std::uint8_t mode, std::uint32_t timeoutMs, std::uint32_t parameter,
                               const std::uint8_t* block, CaptureListener& listener) {
    checkReady();
    startWorker(WorkerKind::stoppable, "Capture", listener,
                [=, this, parameters = copyBlock(block), &listener] {
                    captureLoop(mode, timeoutMs, parameter, parameters, listener);
                });
}

void RidgeDevice::startHostAssistedCapture(std::uint8_t mode, std::uint32_t parameter,
                                           const std::uint8_t* block, CaptureListener& listener) {
    checkReady();
    // No verdict of an earlier capture decides about a new image.
    setHostAssistedCaptureResult(awaitedVerdict);
    startWorker(WorkerKind::stoppable, "Capture (HAC)", listener,
                [=, this, parameters = copyBlock(block), &listener] {
                    streamLoop(true, mode, parameter, parameters, listener);
                });
}

void RidgeDevice::startStream(const std::uint8_t* block, CaptureListener& listener) {
    checkReady();
    startWorker(WorkerKind::stoppable, "Stream", listener,
                [this, parameters = copyBlock(block), &listener] {
                    streamLoop(false, 0, 0, parameters, listener);
                });
}

void RidgeDevice::captureLoop(std::uint8_t mode, std::uint32_t timeoutMs, std::uint32_t parameter,
                              const std::vector<std::uint8_t>& block, CaptureListener& listener) {
    logStreamMode(false);
    commands->startCapture(mode, timeoutMs, static_cast<std::int32_t>(parameter),
                           listener.isEventEnabled(), block);
    BlockAssembler captured(captureBlockKind);
    const CaptureTimer timer{monotonicTime(), timeoutMs};
    while (!stopRequested) {
        if (hasSerialError()) {
            exitOnSerialError(listener);
            return;
        }
        if (pollCaptureData(captured, &timer, listener)) {
            break;
        }
    }
    endCapture(captured.underWay());
}

void RidgeDevice::streamLoop(bool hostAssisted, std::uint8_t mode, std::uint32_t parameter,
                             const std::vector<std::uint8_t>& block, CaptureListener& listener) {
    logStreamMode(!hostAssisted);
    if (hostAssisted) {
        hacMask = commands->startHostAssistedCapture(mode, parameter, block);
    } else {
        commands->startStream(block);
    }
    BlockAssembler streamed(streamBlockKind);
    BlockAssembler captured(captureBlockKind);
    // False while the last image awaits the host's verdict.
    bool streaming = true;
    bool accepted = false;
    while (!stopRequested) {
        if (hasSerialError()) {
            exitOnSerialError(listener);
            return;
        }
        if (accepted) {
            if (pollCaptureData(captured, nullptr, listener)) {
                break;
            }
            continue;
        }
        if (hostAssisted && !streaming) {
            const std::uint32_t verdict = hostVerdict();
            if (verdict == awaitedVerdict) {
                // Keeps the link to the scanner busy while the host decides.
                commands->ping();
                continue;
            }
            accepted = verdict != verdictRejected;
            commands->sendHostAssistedCaptureResult(hacMask, accepted);
            if (accepted) {
                continue;
            }
            streaming = true;
        }
        if (pollStreamData(streamed, hostAssisted, listener)) {
            streaming = false;
        }
    }
    endCapture(streamed.underWay() || captured.underWay());
}

/// One round trip; true when the capture is over. `timer` is null when the host decides itself
/// how long it waits.
bool RidgeDevice::pollCaptureData(BlockAssembler& captured, const CaptureTimer* timer,
                                  CaptureListener& listener) {
    bool captureTimedOut = false;
    bool captureEvent = false;
    const std::vector<std::uint8_t> chunk =
        commands->getCaptureData(!captured.underWay(), captureTimedOut, captureEvent);
    if (captureTimedOut) {
        RIDGE_LOG(logInformation, "Capture timeout");
        listener.onError(status::timeout, "Capture timeout");
        return true;
    }
    if (!chunk.empty()) {
        if (!captured.append(chunk)) {
            return false;
        }
        if (const std::optional<ImageBlock> content = parseCaptureBlock(captured.bytes())) {
            deliver(*content, listener);
        } else {
            reportUnparsable(listener);
        }
        captured.clear();
        return true;
    }
    if (timer == nullptr) {
        return false;
    }
    const auto elapsed = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(monotonicTime() - timer->start)
            .count());
    if (elapsed > timer->timeoutMs + captureGraceMs) {
        throw RIDGE_EXCEPTION(status::unexpectedResponse, "Timeout waiting for capture data");
    }
    if (captureEvent) {
        listener.onCaptureEvent(static_cast<std::uint32_t>(elapsed));
    }
    return false;
}

/// One round trip; true when it completed a block.
bool RidgeDevice::pollStreamData(BlockAssembler& streamed, bool hostAssisted,
                                 CaptureListener& listener) {
    const std::vector<std::uint8_t> chunk = commands->getStreamData(!streamed.underWay());
    if (chunk.empty()) {
        // The scanner has begun anew: what came of the block is dropped.
        streamed.clear();
        return false;
    }
    if (!streamed.append(chunk)) {
        return false;
    }
    deliverStreamImage(streamed.bytes(), hostAssisted, listener);
    streamed.clear();
    return true;
}

void RidgeDevice::deliverStreamImage(const std::vector<std::uint8_t>& block, bool hostAssisted,
                                     CaptureListener& listener) {
    std::optional<ImageBlock> content = parseStreamBlock(block);
    if (!content) {
        reportUnparsable(listener);
        return;
    }
    if (hostAssisted) {
        // Before the listener is called: a verdict that it gives counts, an older one does not.
        setHostAssistedCaptureResult(awaitedVerdict);
        unmask(content->image, hacMask);
    }
    deliver(*content, listener);
}

void RidgeDevice::endCapture(bool blockUnderWay) {
    if (blockUnderWay && !hasSerialError()) {
        // The scanner has sent the next chunk already; it must not answer the next command.
        packetHandler->receive(false);
    }
    if (stopRequested) {
        commands->stopCapture();
    }
}

void RidgeDevice::exitOnSerialError(CaptureListener& listener) {
    disconnect(false);
    listener.onError(status::serialPort,
                     formatText("Serial port error. %s", getSerialError().c_str()));
}

std::uint32_t RidgeDevice::hostVerdict() const {
    const std::lock_guard lock(*stateMutex);
    return hacVerdict;
}

} // namespace ridge
