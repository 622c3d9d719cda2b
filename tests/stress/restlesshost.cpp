#include "restlesshost.h"

#include "patience.h"

#include <chrono>
#include <stdexcept>
#include <utility>

namespace ridge::test {
namespace {

constexpr ridgeCaptureParameters anyFinger{0, 10000, 1};
constexpr ridgeCaptureParameters anyPicture{3, 0, 1};

} // namespace

RestlessHost::RestlessHost(std::string portName, std::uint32_t seed)
    : port(std::move(portName)), generator(seed), judge([this] { giveVerdicts(); }) {}

RestlessHost::~RestlessHost() {
    {
        const std::lock_guard lock(verdictMutex);
        finished = true;
        verdictsAllowed = false;
    }
    verdictChanged.notify_all();
    judge.join();
    ridgeFreeDeviceContext(context);
}

std::string RestlessHost::startAndEnd() {
    complaint.clear();
    if (!connected) {
        connect();
    }
    start();
    letSomeTimePass();
    end();
    if (heardUnasked) {
        complaint += "a callback came after the end; ";
    }
    const std::lock_guard lock(mutex);
    if (!receivedFailures.empty()) {
        complaint += std::exchange(receivedFailures, {});
    }
    return complaint;
}

std::uint32_t RestlessHost::captureOnce() {
    if (connected) {
        allowVerdicts(false);
        ridgeDisconnect(context);
    }
    connect();
    const ridgeCaptureCallbacks callbacks{onError, onCapture, nullptr};
    std::uint64_t before = 0;
    {
        const std::lock_guard lock(mutex);
        before = receivedImages;
    }
    listening = true;
    operation = Operation::captureOnce;
    if (ridgeStartCapture(context, &anyFinger, nullptr, &callbacks, this) != RIDGE_SUCCESS) {
        throw std::runtime_error(ridgeGetLastErrorDescription(context));
    }
    {
        std::unique_lock lock(mutex);
        if (!changed.wait_for(lock, patience, [&] { return receivedImages > before; })) {
            throw std::runtime_error("no image came");
        }
    }
    ridgeStopCapture(context);
    listening = false;
    return lastImageSize;
}

RestlessHost::Met RestlessHost::met() const {
    return {imagesOf(Operation::capture), imagesOf(Operation::hostAssistedCapture),
            imagesOf(Operation::stream), verdicts};
}

void RestlessHost::connect() {
    if (context == nullptr) {
        context = ridgeCreateDeviceContext();
    }
    if (ridgeConnectCOM(port.c_str(), context) != RIDGE_SUCCESS) {
        complaint += std::string("connect: ") + ridgeGetLastErrorDescription(context) + "; ";
        return;
    }
    connected = true;
    allowVerdicts(true);
}

void RestlessHost::start() {
    const ridgeCaptureCallbacks callbacks{onError, onCapture, nullptr};
    listening = true;
    std::int32_t status = RIDGE_SUCCESS;
    constexpr std::array operations{Operation::capture, Operation::hostAssistedCapture,
                                    Operation::stream};
    operation = operations[random(operations.size())];
    switch (operation) {
    case Operation::capture:
        status = ridgeStartCapture(context, &anyFinger, nullptr, &callbacks, this);
        break;
    case Operation::hostAssistedCapture:
        status = ridgeStartHostAssistedCapture(context, &anyPicture, nullptr, &callbacks, this);
        break;
    default:
        status = ridgeStartStream(context, nullptr, &callbacks, this);
        break;
    }
    if (status != RIDGE_SUCCESS) {
        complaint += std::string("start: ") + ridgeGetLastErrorDescription(context) + "; ";
    }
}

/// Some moment of the operation, from its very start to what follows some images.
void RestlessHost::letSomeTimePass() {
    if (random(2) == 0) {
        const std::uint64_t enough = calls + random(4);
        for (std::uint32_t left = random(1000); left > 0 && calls < enough; --left) {
            std::this_thread::yield();
        }
    }
    volatile std::uint32_t idle = random(20000);
    while (idle > 0) {
        idle = idle - 1;
    }
}

void RestlessHost::end() {
    switch (random(4)) {
    case 0:
        allowVerdicts(false);
        connected = false;
        ridgeDisconnect(context);
        break;
    case 1:
        allowVerdicts(false);
        connected = false;
        ridgeFreeDeviceContext(std::exchange(context, nullptr));
        break;
    default:
        ridgeStopCapture(context);
        break;
    }
    listening = false;
}

void RestlessHost::giveVerdicts() {
    std::uint8_t verdict = 0;
    std::uint64_t answered = 0;
    std::unique_lock lock(verdictMutex);
    while (true) {
        verdictChanged.wait(
            lock, [&] { return finished || (verdictsAllowed && imagesToJudge != answered); });
        if (finished) {
            return;
        }
        answered = imagesToJudge;
        if (operation == Operation::hostAssistedCapture) {
            ++verdicts;
        }
        ridgeHostAssistedCaptureSetResult(context, verdict);
        verdict = verdict == 0 ? 1 : 0;
    }
}

void RestlessHost::allowVerdicts(bool allowed) {
    {
        const std::lock_guard lock(verdictMutex);
        verdictsAllowed = allowed;
    }
    verdictChanged.notify_all();
}

std::uint32_t RestlessHost::random(std::uint32_t choices) {
    return std::uniform_int_distribution<std::uint32_t>(0, choices - 1)(generator);
}

void RestlessHost::heard() {
    ++calls;
    if (!listening) {
        heardUnasked = true;
    }
}

void RestlessHost::onError(std::int32_t status, const char* message, void* userContext) {
    auto& host = *static_cast<RestlessHost*>(userContext);
    host.heard();
    const std::lock_guard lock(host.mutex);
    host.receivedFailures += std::to_string(status) + " " + message + "; ";
}

void RestlessHost::onCapture(const ridgeCaptureResult* result, void* userContext) {
    auto& host = *static_cast<RestlessHost*>(userContext);
    host.heard();
    host.lastImageSize = result->imageSize;
    ++host.images[static_cast<std::size_t>(host.operation.load())];
    {
        const std::lock_guard lock(host.mutex);
        ++host.receivedImages;
    }
    host.changed.notify_all();
    {
        const std::lock_guard lock(host.verdictMutex);
        ++host.imagesToJudge;
    }
    host.verdictChanged.notify_all();
}

} // namespace ridge::test
