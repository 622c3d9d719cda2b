#include "devicelist.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace ridge {
namespace {

DeviceRecord scannerOn(const std::string& port) {
    return {port, "S-" + port, "Scanner on " + port, "Maker of " + port, "\\\\.\\" + port, 1, 2};
}

TEST(DeviceList, WithoutDevices_HasNothingBehindIt) {
    const DeviceListOwner list = makeDeviceList({});
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->devices, nullptr);
    EXPECT_EQ(list->count, 0U);
    EXPECT_EQ(list->internal, nullptr);
}

TEST(DeviceList, Entries_AreInOrderWithAllTexts) {
    const DeviceListOwner list = makeDeviceList({scannerOn("COM9"), scannerOn("COM3")});
    ASSERT_EQ(list->count, 2U);
    EXPECT_STREQ(list->devices[0].portName, "COM9");
    EXPECT_STREQ(list->devices[1].portName, "COM3");
    EXPECT_STREQ(list->devices[1].serialNumber, "S-COM3");
    EXPECT_STREQ(list->devices[1].description, "Scanner on COM3");
    EXPECT_STREQ(list->devices[1].manufacturer, "Maker of COM3");
}

TEST(DeviceList, TextsThatWereNotFound_AreEmptyAndNotNull) {
    const DeviceListOwner list = makeDeviceList({DeviceRecord{}});
    EXPECT_STREQ(list->devices[0].portName, "");
    EXPECT_STREQ(list->devices[0].serialNumber, "");
    EXPECT_STREQ(list->devices[0].description, "");
    EXPECT_STREQ(list->devices[0].manufacturer, "");
}

TEST(DeviceList, EachEntry_LeadsToItsRecordInTheStorage) {
    const DeviceListOwner list = makeDeviceList({scannerOn("COM9"), scannerOn("COM3")});
    const auto& storage = *static_cast<const DeviceListStorage*>(list->internal);
    ASSERT_EQ(storage.records.size(), 2U);
    EXPECT_EQ(list->devices, storage.entries.data());
    for (std::size_t index = 0; index < storage.records.size(); ++index) {
        const DeviceRecord& record = storage.records[index];
        const ridgeDeviceEntry& entry = list->devices[index];
        EXPECT_EQ(deviceBehind(entry), &record);
        EXPECT_EQ(entry.portName, record.portName.c_str());
        EXPECT_EQ(entry.serialNumber, record.serialNumber.c_str());
        EXPECT_EQ(entry.description, record.description.c_str());
        EXPECT_EQ(entry.manufacturer, record.manufacturer.c_str());
    }
    EXPECT_EQ(storage.records[1].devicePath, "\\\\.\\COM3");
}

TEST(DeviceList, Storage_HoldsTheEntriesThenTheRecords) {
    const DeviceListStorage storage{{ridgeDeviceEntry{}, ridgeDeviceEntry{}}, {DeviceRecord{}}};
    EXPECT_EQ(storage.entries.size(), 2U);
    EXPECT_EQ(storage.records.size(), 1U);
}

TEST(DeviceList, Records_AreKeptWithoutTheIdentifiers) {
    const DeviceListOwner list = makeDeviceList({scannerOn("COM3")});
    EXPECT_EQ(deviceBehind(list->devices[0])->vendorId, 0);
    EXPECT_EQ(deviceBehind(list->devices[0])->productId, 0);
}

TEST(DeviceList, OfManyDevices_NeverMovesATextShortOrLong) {
    constexpr std::size_t deviceCount = 300;
    std::vector<DeviceRecord> devices;
    for (std::size_t number = 0; number < deviceCount; ++number) {
        devices.push_back(scannerOn("COM" + std::string(number, '0')));
    }
    const DeviceListOwner list = makeDeviceList(devices);
    const std::vector<DeviceRecord> before = std::exchange(devices, {});
    ASSERT_EQ(list->count, deviceCount);
    for (std::size_t number = 0; number < deviceCount; ++number) {
        EXPECT_EQ(list->devices[number].portName, before[number].portName);
        EXPECT_EQ(list->devices[number].serialNumber, before[number].serialNumber);
    }
}

TEST(DeviceList, EntryOfTheCallersOwn_HasNoDeviceBehindIt) {
    EXPECT_EQ(deviceBehind(ridgeDeviceEntry{}), nullptr);
}

} // namespace
} // namespace ridge
