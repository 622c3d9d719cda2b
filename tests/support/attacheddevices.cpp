#include "attacheddevices.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace ridge {
namespace {

std::vector<DeviceRecord>& attached() {
    static std::vector<DeviceRecord> devices;
    return devices;
}

} // namespace

std::vector<DeviceRecord> enumerateDevices(DeviceFilter wanted) {
    std::vector<DeviceRecord> found;
    std::copy_if(
        attached().begin(), attached().end(), std::back_inserter(found),
        [wanted](const DeviceRecord& device) { return wanted(device.vendorId, device.productId); });
    return found;
}

namespace test {

AttachedDevices::AttachedDevices(std::vector<DeviceRecord> devices) {
    attached() = std::move(devices);
}

AttachedDevices::~AttachedDevices() {
    attached() = {};
}

} // namespace test
} // namespace ridge
