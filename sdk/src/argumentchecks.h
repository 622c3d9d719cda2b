#pragma once

#include "devicecontext.h"

#include <cstdint>
#include <string>

/// The checks that the exported functions run before they do their work, each in its binding order.
/// A check that fails writes the context's last-error text; its result is a status code.
namespace ridge {

/// Writes the text and passes the code on.
std::int32_t fail(ridgeDeviceContext& context, std::int32_t code, std::string text);

std::int32_t checkSerialPortError(ridgeDeviceContext& context);
std::int32_t checkConnected(ridgeDeviceContext& context);
std::int32_t checkCaptureInactive(ridgeDeviceContext& context);
std::int32_t checkCaptureParameters(ridgeDeviceContext& context,
                                    const ridgeCaptureParameters* parameters);
std::int32_t checkCaptureCallbacks(ridgeDeviceContext& context,
                                   const ridgeCaptureCallbacks* callbacks);
std::int32_t checkSettings(ridgeDeviceContext& context, const ridgeDeviceSettings* settings);

/// The checks in the given order, up to the first that fails.
template <typename... Checks>
std::int32_t firstFailure(const Checks&... checks) {
    std::int32_t code = RIDGE_SUCCESS;
    static_cast<void>((((code = checks()) != RIDGE_SUCCESS) || ...));
    return code;
}

} // namespace ridge
