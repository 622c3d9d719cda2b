#pragma once

#include "deviceenumeration.h"
#include "ridge-sdk.h"

#include <memory>
#include <vector>

namespace ridge {

/// Owns what a public list of devices points to. Reserved for all devices before the first one is
/// added, so that nothing moves.
struct DeviceListStorage {
    std::vector<ridgeDeviceEntry> entries;
    std::vector<DeviceRecord> records;
};

struct DeviceListDeleter {
    void operator()(ridgeDeviceList* list) const;
};

using DeviceListOwner = std::unique_ptr<ridgeDeviceList, DeviceListDeleter>;

[[nodiscard]] DeviceListOwner makeDeviceList(const std::vector<DeviceRecord>& devices);

/// What a connect opens; null when the entry has no device behind it.
[[nodiscard]] const DeviceRecord* deviceBehind(const ridgeDeviceEntry& entry);

} // namespace ridge
