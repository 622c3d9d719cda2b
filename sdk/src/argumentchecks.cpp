#include "argumentchecks.h"

#include "commandpayloads.h"
#include "printfformat.h"

#include <utility>

namespace ridge {
namespace {

constexpr int maxFingerPosition = 10;

} // namespace

std::int32_t fail(ridgeDeviceContext& context, std::int32_t code, std::string text) {
    context.lastError = std::move(text);
    return code;
}

std::int32_t checkSerialPortError(ridgeDeviceContext& context) {
    if (context.device && context.device->hasSerialError()) {
        return fail(
            context, RIDGE_SERIAL_PORT_ERROR,
            formatText("Serial port error detected. %s", context.device->getSerialError().c_str()));
    }
    return RIDGE_SUCCESS;
}

std::int32_t checkConnected(ridgeDeviceContext& context) {
    if (ridgeIsConnected(&context) == 0) {
        return fail(context, RIDGE_NOT_CONNECTED, "Not connected.");
    }
    return RIDGE_SUCCESS;
}

std::int32_t checkCaptureInactive(ridgeDeviceContext& context) {
    if (context.device && context.device->isCaptureActive()) {
        return fail(context, RIDGE_CAPTURE_ACTIVE, "Capture is active.");
    }
    return RIDGE_SUCCESS;
}

std::int32_t checkCaptureParameters(ridgeDeviceContext& context,
                                    const ridgeCaptureParameters* parameters) {
    if (parameters == nullptr) {
        return fail(context, RIDGE_NULL_ARGUMENT, "Capture parameters cannot be NULL.");
    }
    if (parameters->fingerPosition > maxFingerPosition) {
        return fail(context, RIDGE_INVALID_ARGUMENT,
                    formatText("Invalid finger position %d. Finger position must be between 0 and "
                               "10, inclusive.",
                               parameters->fingerPosition));
    }
    if (parameters->captureTimeout > maxCaptureTimeoutMs) {
        return fail(context, RIDGE_INVALID_ARGUMENT,
                    formatText("Invalid capture timeout %d. Capture timeout cannot exceed %d "
                               "milliseconds.",
                               static_cast<int>(parameters->captureTimeout),
                               static_cast<int>(maxCaptureTimeoutMs)));
    }
    return RIDGE_SUCCESS;
}

std::int32_t checkCaptureCallbacks(ridgeDeviceContext& context,
                                   const ridgeCaptureCallbacks* callbacks) {
    if (callbacks == nullptr) {
        return fail(context, RIDGE_NULL_ARGUMENT, "Capture callbacks cannot be NULL.");
    }
    if (callbacks->errorCallback == nullptr) {
        return fail(context, RIDGE_INVALID_ARGUMENT,
                    "Capture error callback function cannot be NULL.");
    }
    if (callbacks->captureCallback == nullptr) {
        return fail(context, RIDGE_INVALID_ARGUMENT,
                    "Capture success callback function cannot be NULL.");
    }
    return RIDGE_SUCCESS;
}

std::int32_t checkSettings(ridgeDeviceContext& context, const ridgeDeviceSettings* settings) {
    if (settings == nullptr) {
        return fail(context, RIDGE_NULL_ARGUMENT, "Settings cannot be NULL.");
    }
    if (settings->rotation > maxRotation) {
        return fail(context, RIDGE_INVALID_ARGUMENT,
                    formatText("Invalid rotation angle %d.", settings->rotation));
    }
    return RIDGE_SUCCESS;
}

} // namespace ridge
