#include "usbattachment.h"

#include <array>
#include <cstdio>

namespace ridge::simulator {
namespace {

std::string instanceIdentifier(const UsbIdentity& identity) {
    std::array<char, 32> device{};
    std::snprintf(device.data(), device.size(), R"(USB\VID_%04X&PID_%04X\)",
                  unsigned{identity.vendorId}, unsigned{identity.productId});
    return device.data() + identity.serialNumber;
}

} // namespace

UsbAttachment::UsbAttachment(std::uint32_t portNumber, const UsbIdentity& identity)
    : port(portNumber), listed{instanceIdentifier(identity), portNumber, identity.description,
                               identity.manufacturer} {
    registration = std::make_unique<DeviceRegistration>(listed);
}

void UsbAttachment::unplug() {
    if (registration) {
        registration.reset();
        port.unplug();
    }
}

void UsbAttachment::plug() {
    if (!registration) {
        port.replug();
        registration = std::make_unique<DeviceRegistration>(listed);
    }
}

} // namespace ridge::simulator
