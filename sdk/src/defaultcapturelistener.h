#pragma once

#include "capturelistener.h"
#include "ridge-sdk.h"

namespace ridge {

/// Forwards to the caller's callbacks.
class DefaultCaptureListener final : public CaptureListener {
public:
    DefaultCaptureListener(const ridgeCaptureCallbacks& callbacks, void* userContext);

    void onError(std::int32_t code, const std::string& message) override;
    bool isEventEnabled() override;
    void onCaptureComplete(bool flagA, bool flagB, bool flagC, std::uint16_t width,
                           std::uint16_t height, const std::vector<std::uint8_t>& image,
                           std::uint8_t extraValue,
                           const std::vector<std::uint8_t>& trailer) override;
    void onCaptureEvent(std::uint32_t elapsedMs) override;

private:
    ridgeErrorCallback errorCallback;
    ridgeCaptureCallback captureCallback;
    /// May be null.
    ridgeEventCallback eventCallback;
    void* userContext;
};

} // namespace ridge
