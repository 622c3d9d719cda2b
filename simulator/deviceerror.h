#pragma once

#include <cstdint>
#include <string_view>

namespace ridge::simulator {

/// The error codes of the scanner's failure answers. Hosts know the meaning of nothingReady,
/// captureTimeout and captureEvent; the others they only report.
enum class DeviceError : std::uint8_t {
    unknownCommand = 1,
    invalidLength = 2,
    invalidParameter = 3,
    wrongState = 4,
    notSupported = 5,
    invalidVerdict = 6,
    nothingReady = 7,
    csrFailed = 8,
    captureTimeout = 9,
    captureEvent = 12,
};

std::string_view textOfError(DeviceError error);

} // namespace ridge::simulator
