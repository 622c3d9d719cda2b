#include "attacheddevices.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <utility>

namespace ridge {
namespace {

std::vector<DeviceRecord>& attached() {
    static std::vector<DeviceRecord> devices;
    return devices;
}

std::atomic<int> enumerationCount{0};

} // namespace

std::vector<DeviceRecord> enumerateDevices(DeviceFilter wanted) {
    ++enumerationCount;
    std::vector<DeviceRecord> found;
    std::copy_if(
        attached().begin(), attached().end(), std::back_inserter(found),
        [wanted](const DeviceRecord& device) { return wanted(device.vendorId, device.productId); });
    return found;
}

namespace test {

AttachedDevices::AttachedDevices(std::vector<DeviceRecord> devices) {
    attached() = std::move(devices);
    enumerationCount = 0;
}

int AttachedDevices::enumerations() {
    return enumerationCount;
}

AttachedDevices::~AttachedDevices() {
    attached() = {};
}

} // namespace test
} // namespace ridge
