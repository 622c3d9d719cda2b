#pragma once

#include "deviceregistration.h"
#include "virtualport.h"

#include <cstdint>
#include <memory>
#include <string>

namespace ridge::simulator {

/// What a USB device says of itself to the system.
struct UsbIdentity {
    std::uint16_t vendorId;
    std::uint16_t productId;
    std::string serialNumber;
    std::string description;
    std::string manufacturer;
};

/// The scanner's USB cable: a virtual COM port that the system lists as that of a USB device.
/// Plugged in from the start.
class UsbAttachment {
public:
    /// The driver of virtual ports must run, and nothing that a killed scanner has left may be
    /// listed.
    UsbAttachment(std::uint32_t portNumber, const UsbIdentity& identity);

    /// The scanner's end of the line, which stays when the cable is unplugged.
    [[nodiscard]] std::string lineName() const { return port.lineName(); }

    /// Neither does anything when it is so already.
    void unplug();
    void plug();

    /// Waits until the host has taken all that was written at the scanner's end, or has closed.
    void awaitTaken() const { port.await(PortFlag::hostHasData, false); }

private:
    VirtualPort port;
    ListedDevice listed;
    std::unique_ptr<DeviceRegistration> registration;
};

} // namespace ridge::simulator
