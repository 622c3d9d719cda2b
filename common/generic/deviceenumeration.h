#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ridge {

/// A serial port that a device provides, as the operating system describes it. Texts that were
/// not found are empty.
struct DeviceRecord {
    /// As the system records it, such as "COM3".
    std::string portName;
    std::string serialNumber;
    std::string description;
    std::string manufacturer;
    /// What is opened, such as "\\.\COM3".
    std::string devicePath;
    std::uint16_t vendorId = 0;
    std::uint16_t productId = 0;
};

/// Whether devices with these identifiers are wanted.
using DeviceFilter = bool (*)(std::uint16_t vendorId, std::uint16_t productId);

/// The ports that are attached now, each once, in the order in which the system lists them. What
/// the system fails to tell leaves a text empty or a device out. Can be called on any thread.
[[nodiscard]] std::vector<DeviceRecord> enumerateDevices(DeviceFilter wanted);

} // namespace ridge
