#pragma once

#include "scannerconfig.h"
#include "usbattachment.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ridge::simulator {

/// What the command line asks for.
struct ScannerOptions {
    /// An ordinary COM port to sit at, such as one end of a null-modem pair.
    std::string port;
    /// The number of a virtual COM port to create for the host.
    std::uint32_t virtualPort = 0;
    /// What the system is told of the device at the virtual port.
    UsbIdentity usb;
    std::uint32_t baud = 115200;
    /// Take commands from the standard input and end with it.
    bool commands = false;
    bool verbose = false;
    ScannerConfig config;
};

/// The options, or the status to end with after help or an error has been printed.
struct ParsedOptions {
    std::optional<ScannerOptions> options;
    int exitStatus = 0;
};

ParsedOptions parseOptions(int argumentCount, const char* const* arguments);

} // namespace ridge::simulator
