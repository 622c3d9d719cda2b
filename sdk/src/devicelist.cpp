#include "devicelist.h"

namespace ridge {
namespace {

/// A list keeps no identifiers: they only served to choose the devices.
DeviceRecord withoutIdentifiers(DeviceRecord record) {
    record.vendorId = 0;
    record.productId = 0;
    return record;
}

void add(DeviceListStorage& storage, const DeviceRecord& device) {
    DeviceRecord& record = storage.records.emplace_back(withoutIdentifiers(device));
    storage.entries.push_back({record.portName.c_str(), record.serialNumber.c_str(),
                               record.description.c_str(), record.manufacturer.c_str(), &record});
}

} // namespace

void DeviceListDeleter::operator()(ridgeDeviceList* list) const {
    delete static_cast<DeviceListStorage*>(list->internal);
    delete list;
}

DeviceListOwner makeDeviceList(const std::vector<DeviceRecord>& devices) {
    std::unique_ptr<DeviceListStorage> storage;
    if (!devices.empty()) {
        storage = std::make_unique<DeviceListStorage>();
        storage->entries.reserve(devices.size());
        storage->records.reserve(devices.size());
        for (const DeviceRecord& device : devices) {
            add(*storage, device);
        }
    }
    DeviceListOwner list(new ridgeDeviceList{});
    if (storage) {
        list->devices = storage->entries.data();
        list->count = static_cast<std::uint32_t>(storage->entries.size());
        list->internal = storage.release();
    }
    return list;
}

const DeviceRecord* deviceBehind(const ridgeDeviceEntry& entry) {
    return static_cast<const DeviceRecord*>(entry.internal);
}

} // namespace ridge
