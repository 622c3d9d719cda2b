#pragma once

#include "deviceenumeration.h"

#include <vector>

namespace ridge::test {

/// What the operating system says is attached, as long as the object lives; without one, nothing
/// is.
class AttachedDevices {
public:
    explicit AttachedDevices(std::vector<DeviceRecord> devices);
    ~AttachedDevices();

    /// How often the system has been asked since the object was made.
    [[nodiscard]] static int enumerations();

    AttachedDevices(const AttachedDevices&) = delete;
    AttachedDevices& operator=(const AttachedDevices&) = delete;
};

} // namespace ridge::test
