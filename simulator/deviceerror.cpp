#include "deviceerror.h"

namespace ridge::simulator {

std::string_view textOfError(DeviceError error) {
    switch (error) {
    case DeviceError::unknownCommand:
        return "Unknown command";
    case DeviceError::invalidLength:
        return "Invalid payload length";
    case DeviceError::invalidParameter:
        return "Invalid parameter";
    case DeviceError::wrongState:
        return "Not possible in this state";
    case DeviceError::notSupported:
        return "Not supported";
    case DeviceError::invalidVerdict:
        return "Invalid host verdict";
    case DeviceError::nothingReady:
        return "Nothing ready";
    case DeviceError::csrFailed:
        return "Request not created";
    case DeviceError::captureTimeout:
        return "Capture timeout";
    case DeviceError::captureEvent:
        return "Capture event";
    }
    return "";
}

} // namespace ridge::simulator
