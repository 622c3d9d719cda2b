#include "libraryhost.h"

#include <stdexcept>

#include <windows.h>

namespace ridge::bench {

LibraryHost::LibraryHost()
    : context(ridgeCreateDeviceContext()), captured(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    if (context == nullptr || !captured) {
        throw std::runtime_error("no memory for a host");
    }
}

LibraryHost::LibraryHost(const std::string& portName) : LibraryHost() {
    connect(portName);
}

LibraryHost::~LibraryHost() {
    ridgeFreeDeviceContext(context);
}

void LibraryHost::connect(const std::string& portName) {
    require(ridgeConnectCOM(portName.c_str(), context));
}

void LibraryHost::disconnect() {
    ridgeDisconnect(context);
}

void LibraryHost::setSettings() {
    constexpr ridgeDeviceSettings settings{0, 0};
    require(ridgeSettingsSet(context, &settings));
}

Time LibraryHost::capture() {
    constexpr ridgeCaptureParameters anyFinger{0, 10000, 1};
    constexpr ridgeCaptureCallbacks callbacks{onError, onCapture, nullptr};
    // The last capture's worker may still be on its way out.
    ridgeStopCapture(context);
    const Time start = performanceTime();
    require(ridgeStartCapture(context, &anyFinger, nullptr, &callbacks, this));
    WaitForSingleObject(captured.get(), INFINITE);
    if (!failure.empty()) {
        throw std::runtime_error(failure);
    }
    return capturedAt - start;
}

void LibraryHost::onError(std::int32_t, const char* message, void* userContext) {
    auto& host = *static_cast<LibraryHost*>(userContext);
    host.failure = message;
    SetEvent(host.captured.get());
}

void LibraryHost::onCapture(const ridgeCaptureResult*, void* userContext) {
    auto& host = *static_cast<LibraryHost*>(userContext);
    host.capturedAt = performanceTime();
    SetEvent(host.captured.get());
}

void LibraryHost::require(std::int32_t status) const {
    if (status != RIDGE_SUCCESS) {
        throw std::runtime_error(ridgeGetLastErrorDescription(context));
    }
}

} // namespace ridge::bench
