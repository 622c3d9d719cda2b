#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace ridge::simulator {

// A serial port of a USB device, as the system lists it.
struct ListedDevice {
    // Such as USB\VID_1209&PID_0001\A1B2C3.
    std::string instanceIdentifier;
    std::uint32_t portNumber;
    std::string description;
    std::string manufacturer;
};

// Lists a device of a virtual port in the system's device database, as its driver does when it is
// plugged in: in the class of ports and as a COM-port interface. It is listed as long as this
// object lives, or, when its process is killed, until removeForsakenDevices() is called. A device
// that is listed already, and all other failures, are thrown as std::system_error.
class DeviceRegistration {
public:
    explicit DeviceRegistration(const ListedDevice& device);
    ~DeviceRegistration();

    DeviceRegistration(const DeviceRegistration&) = delete;
    DeviceRegistration& operator=(const DeviceRegistration&) = delete;

private:
    struct Private;
    std::unique_ptr<Private> impl;
};

// Removes the listed devices whose virtual port does not exist any more. The driver must run.
void removeForsakenDevices();

} // namespace ridge::simulator
