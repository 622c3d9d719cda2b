#pragma once

#include "baselistener.h"

#include <cstdint>
#include <vector>

namespace ridge {

/// Hears of a capture's or a stream's progress, on the worker's thread. What it is given is valid
/// only during the call.
class CaptureListener : public BaseListener {
public:
    /// Whether the scanner shall be asked to report its capture event.
    virtual bool isEventEnabled() = 0;
    virtual void onCaptureComplete(bool flagA, bool flagB, bool flagC, std::uint16_t width,
                                   std::uint16_t height, const std::vector<std::uint8_t>& image,
                                   std::uint8_t extraValue,
                                   const std::vector<std::uint8_t>& trailer) = 0;
    virtual void onCaptureEvent(std::uint32_t elapsedMs) = 0;
};

} // namespace ridge
