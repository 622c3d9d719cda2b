#include "defaultcapturelistener.h"

namespace ridge {

DefaultCaptureListener::DefaultCaptureListener(const ridgeCaptureCallbacks& callbacks,
                                               void* context)
    : errorCallback(callbacks.errorCallback), captureCallback(callbacks.captureCallback),
      eventCallback(callbacks.eventCallback), userContext(context) {}

void DefaultCaptureListener::onError(std::int32_t code, const std::string& message) {
    errorCallback(code, message.c_str(), userContext);
}

bool DefaultCaptureListener::isEventEnabled() {
    return eventCallback != nullptr;
}

void DefaultCaptureListener::onCaptureComplete(bool flagA, bool flagB, bool flagC,
                                               std::uint16_t width, std::uint16_t height,
                                               const std::vector<std::uint8_t>& image,
                                               std::uint8_t extraValue,
                                               const std::vector<std::uint8_t>& trailer) {
    ridgeCaptureResult result{};
    if (!image.empty()) {
        result.width = width;
        result.height = height;
        result.image = image.data();
        result.imageSize = static_cast<std::uint32_t>(image.size());
    }
    if (!trailer.empty()) {
        result.trailerSize = static_cast<std::uint32_t>(trailer.size());
        result.trailer = trailer.data();
    }
    result.extraValue = extraValue;
    result.flagA = flagA ? 1 : 0;
    result.flagB = flagB ? 1 : 0;
    result.flagC = flagB && flagC ? 1 : 0;
    captureCallback(&result, userContext);
}

void DefaultCaptureListener::onCaptureEvent(std::uint32_t elapsedMs) {
    if (eventCallback != nullptr) {
        eventCallback(userContext, elapsedMs);
    }
}

} // namespace ridge
