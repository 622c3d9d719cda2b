#include "capturinghost.h"

#include <stdexcept>

namespace ridge::bench {

CapturingHost::CapturingHost(const PreparedScanner& scanner) : handle(ridgeCreateDeviceContext()) {
    require(ridgeConnectCOM(scanner.portName().c_str(), handle));
}

CapturingHost::~CapturingHost() {
    ridgeFreeDeviceContext(handle);
}

void CapturingHost::capture() {
    const ridgeCaptureParameters anyFinger{0, 10000, 1};
    const ridgeCaptureCallbacks callbacks{onError, onCapture, nullptr};
    isFinished = false;
    require(ridgeStartCapture(handle, &anyFinger, nullptr, &callbacks, this));
    {
        std::unique_lock lock(mutex);
        finished.wait(lock, [this] { return isFinished; });
    }
    if (!failure.empty()) {
        throw std::runtime_error(failure);
    }
    ridgeStopCapture(handle);
}

void CapturingHost::require(std::int32_t status) const {
    if (status != RIDGE_SUCCESS) {
        throw std::runtime_error(ridgeGetLastErrorDescription(handle));
    }
}

void CapturingHost::onError(std::int32_t, const char* message, void* userContext) {
    static_cast<CapturingHost*>(userContext)->finish(message);
}

void CapturingHost::onCapture(const ridgeCaptureResult*, void* userContext) {
    static_cast<CapturingHost*>(userContext)->finish({});
}

void CapturingHost::finish(const std::string& message) {
    const std::lock_guard lock(mutex);
    failure = message;
    isFinished = true;
    finished.notify_one();
}

} // namespace ridge::bench
