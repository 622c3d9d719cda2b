#include "host.h"

#include "patience.h"

#include <chrono>
#include <ostream>
#include <stdexcept>

namespace ridge::test {
namespace {

std::vector<std::uint8_t> copyOf(const std::uint8_t* bytes, std::uint32_t size) {
    return bytes == nullptr ? std::vector<std::uint8_t>()
                            : std::vector<std::uint8_t>(bytes, bytes + size);
}

} // namespace

void PrintTo(const ReceivedFailure& failure, std::ostream* stream) {
    *stream << failure.status << " \"" << failure.message << '"';
}

Host::Host() : handle(inLibrary([] { return ridgeCreateDeviceContext(); })) {
    if (handle == nullptr) {
        throw std::runtime_error("no memory for a device context");
    }
}

Host::~Host() {
    freeContext();
}

void Host::freeContext() {
    inLibrary([this] { ridgeFreeDeviceContext(std::exchange(handle, nullptr)); });
}

void Host::judgeWith(std::function<std::uint8_t(const ReceivedImage&)> verdictOf) {
    judge = std::move(verdictOf);
}

std::int32_t Host::startCapture(ridgeCaptureParameters parameters, bool withEvents,
                                const std::uint8_t* block) {
    const ridgeCaptureCallbacks callbacks{onError, onCapture, withEvents ? onEvent : nullptr};
    return inLibrary(
        [&] { return ridgeStartCapture(handle, &parameters, block, &callbacks, this); });
}

std::int32_t Host::startHostAssistedCapture(ridgeCaptureParameters parameters) {
    const ridgeCaptureCallbacks callbacks{onError, onCapture, nullptr};
    return inLibrary([&] {
        return ridgeStartHostAssistedCapture(handle, &parameters, nullptr, &callbacks, this);
    });
}

std::int32_t Host::startStream(const std::uint8_t* block) {
    const ridgeCaptureCallbacks callbacks{onError, onCapture, nullptr};
    return inLibrary([&] { return ridgeStartStream(handle, block, &callbacks, this); });
}

void Host::stopCapture() {
    inLibrary([this] { ridgeStopCapture(handle); });
}

void Host::disconnect() {
    inLibrary([this] { ridgeDisconnect(handle); });
}

std::vector<ReceivedImage> Host::waitForImages(std::size_t count) {
    return waitFor(receivedImages, count);
}

std::vector<ReceivedFailure> Host::waitForFailures(std::size_t count) {
    return waitFor(receivedFailures, count);
}

std::vector<std::uint32_t> Host::waitForEvents(std::size_t count) {
    return waitFor(receivedEvents, count);
}

std::vector<ReceivedImage> Host::images() const {
    const std::lock_guard lock(mutex);
    return receivedImages;
}

std::vector<ReceivedFailure> Host::failures() const {
    const std::lock_guard lock(mutex);
    return receivedFailures;
}

void Host::forgetWhatCame() {
    const std::lock_guard lock(mutex);
    receivedImages.clear();
    receivedFailures.clear();
    receivedEvents.clear();
}

void Host::waitForImagesOrFailure(std::size_t count) {
    waitUntil(count, [&] { return receivedImages.size() >= count || !receivedFailures.empty(); });
}

template <typename Item>
std::vector<Item> Host::waitFor(const std::vector<Item>& items, std::size_t count) {
    waitUntil(count, [&] { return items.size() >= count; });
    const std::lock_guard lock(mutex);
    return items;
}

template <typename Condition>
void Host::waitUntil(std::size_t count, const Condition& condition) {
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, patience, condition)) {
        std::string said;
        for (const ReceivedFailure& failure : receivedFailures) {
            said += " [" + std::to_string(failure.status) + " " + failure.message + "]";
        }
        throw std::runtime_error("waited in vain for " + std::to_string(count) +
                                 " callbacks; failures so far:" + said);
    }
}

void Host::onError(std::int32_t status, const char* message, void* userContext) {
    const CodeScope scope(Code::surroundings);
    auto& host = *static_cast<Host*>(userContext);
    {
        const std::lock_guard lock(host.mutex);
        host.receivedFailures.push_back({status, message});
    }
    host.changed.notify_all();
}

void Host::onCapture(const ridgeCaptureResult* result, void* userContext) {
    const CodeScope scope(Code::surroundings);
    auto& host = *static_cast<Host*>(userContext);
    ReceivedImage image{result->width,
                        result->height,
                        copyOf(result->image, result->imageSize),
                        result->extraValue,
                        copyOf(result->trailer, result->trailerSize),
                        result->flagA != 0,
                        result->flagB != 0,
                        result->flagC != 0};
    if (host.judge) {
        const std::uint8_t verdict = host.judge(image);
        inLibrary([&] { ridgeHostAssistedCaptureSetResult(host.handle, verdict); });
    }
    {
        const std::lock_guard lock(host.mutex);
        host.receivedImages.push_back(std::move(image));
    }
    host.changed.notify_all();
}

void Host::onEvent(void* userContext, std::uint32_t elapsedMilliseconds) {
    const CodeScope scope(Code::surroundings);
    auto& host = *static_cast<Host*>(userContext);
    {
        const std::lock_guard lock(host.mutex);
        host.receivedEvents.push_back(elapsedMilliseconds);
    }
    host.changed.notify_all();
}

} // namespace ridge::test
