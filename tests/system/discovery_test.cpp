#include "host.h"
#include "scanneridentifiers.h"
#include "simulatorprocess.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <cfgmgr32.h>
#include <setupapi.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace ridge::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

struct FreeDevices {
    void operator()(ridgeDeviceList* list) const { ridgeFreeDevices(list); }
};

using DeviceList = std::unique_ptr<ridgeDeviceList, FreeDevices>;

DeviceList queryDevices() {
    ridgeDeviceList* list = nullptr;
    EXPECT_EQ(ridgeQueryDevices(&list), RIDGE_SUCCESS);
    return DeviceList(list);
}

/// The four texts of each entry, with bars between them.
std::vector<std::string> attachedScanners() {
    const DeviceList list = queryDevices();
    std::vector<std::string> scanners;
    for (std::uint32_t index = 0; index < list->count; ++index) {
        const ridgeDeviceEntry& scanner = list->devices[index];
        scanners.push_back(std::string(scanner.portName) + "|" + scanner.serialNumber + "|" +
                           scanner.description + "|" + scanner.manufacturer);
    }
    return scanners;
}

std::string listed(const SimulatorProcess& scanner, const std::string& rest) {
    return scanner.comPort() + "|" + rest;
}

TEST(Discovery, WithoutScanner_GivesAnEmptyList) {
    const DeviceList list = queryDevices();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->devices, nullptr);
    EXPECT_EQ(list->count, 0U);
    EXPECT_EQ(list->internal, nullptr);
}

TEST(Discovery, OneScanner_IsListedOnceWithItsTexts) {
    const SimulatorProcess scanner(
        {"--serial", "A1B2C3", "--description", "Front desk", "--manufacturer", "Maker & Sons"});
    EXPECT_THAT(attachedScanners(), ElementsAre(listed(scanner, "A1B2C3|Front desk|Maker & Sons")));
}

TEST(Discovery, EntryOfTheList_IsConnectedTo) {
    const SimulatorProcess scanner({"--baud", "0", "--finger-delay", "0", "--serial", "A1B2C3"});
    Host host;
    {
        const DeviceList list = queryDevices();
        ASSERT_EQ(list->count, 1U);
        ASSERT_EQ(ridgeConnect(list->devices, host.context()), RIDGE_SUCCESS) << host.lastError();
    }
    ridgeDeviceInfo info{};
    ASSERT_EQ(ridgeGetInfo(host.context(), &info), RIDGE_SUCCESS) << host.lastError();
    EXPECT_STREQ(info.text2, "A1B2C3");
    ASSERT_EQ(host.startCapture(anyFinger), RIDGE_SUCCESS) << host.lastError();
    EXPECT_EQ(host.waitForImages(1)[0].image.size(), 120000U);
}

TEST(Discovery, ScannerThatIsOpen_IsListedToo) {
    const SimulatorProcess scanner;
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    const DeviceList list = queryDevices();
    ASSERT_EQ(list->count, 1U);
    EXPECT_EQ(ridgeConnect(list->devices, host.context()), RIDGE_CONTEXT_IN_USE);
    EXPECT_EQ(host.lastError(), "Context in use.");
    EXPECT_EQ(ridgeIsConnected(host.context()), 1);
    Host other;
    EXPECT_EQ(ridgeConnect(list->devices, other.context()), RIDGE_SERIAL_PORT_ERROR);
}

TEST(Discovery, ThreeScanners_AreAllListed) {
    const SimulatorProcess first({"--serial", "ONE"});
    const SimulatorProcess second({"--serial", "TWO"});
    const SimulatorProcess third({"--serial", "THREE"});
    EXPECT_THAT(attachedScanners(),
                UnorderedElementsAre(listed(first, "ONE|Ridge Scanner|Ridge"),
                                     listed(second, "TWO|Ridge Scanner|Ridge"),
                                     listed(third, "THREE|Ridge Scanner|Ridge")));
}

TEST(Discovery, DevicesWithOtherIdentifiers_DoNotAppear) {
    const SimulatorProcess otherVendor({"--vendor-id", std::to_string(scannerVendorId ^ 1)});
    const SimulatorProcess otherProduct({"--product-id", std::to_string(scannerProductId ^ 1)});
    const SimulatorProcess scanner({"--serial", "A1B2C3"});
    EXPECT_THAT(attachedScanners(), ElementsAre(listed(scanner, "A1B2C3|Ridge Scanner|Ridge")));
}

TEST(Discovery, SerialNumberWithASuffix_IsListedWithoutIt) {
    const SimulatorProcess scanner({"--serial", "A1B2C3_00"});
    EXPECT_THAT(attachedScanners(), ElementsAre(listed(scanner, "A1B2C3|Ridge Scanner|Ridge")));
}

TEST(Discovery, UnpluggedScanner_IsListedAgainWhenItIsPluggedIn) {
    SimulatorProcess scanner({"--serial", "A1B2C3"});
    const DeviceList before = queryDevices();
    ASSERT_EQ(before->count, 1U);

    scanner.unplug();
    EXPECT_THAT(attachedScanners(), IsEmpty());
    Host host;
    EXPECT_EQ(ridgeConnect(before->devices, host.context()), RIDGE_SERIAL_PORT_ERROR);
    EXPECT_STREQ(before->devices[0].serialNumber, "A1B2C3");

    scanner.plug();
    EXPECT_THAT(attachedScanners(), ElementsAre(listed(scanner, "A1B2C3|Ridge Scanner|Ridge")));
    EXPECT_EQ(ridgeConnect(before->devices, host.context()), RIDGE_SUCCESS) << host.lastError();
}

/// How many of the system's devices of a class have this in their identifier.
int devicesOfTheSystem(const GUID& classId, DWORD flags, const std::string& part) {
    const HDEVINFO set = SetupDiGetClassDevsA(&classId, nullptr, nullptr, flags);
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof(device);
    int count = 0;
    for (DWORD index = 0; SetupDiEnumDeviceInfo(set, index, &device) != FALSE; ++index) {
        std::array<char, MAX_DEVICE_ID_LEN> identifier{};
        EXPECT_EQ(CM_Get_Device_IDA(device.DevInst, identifier.data(),
                                    static_cast<ULONG>(identifier.size()), 0),
                  static_cast<CONFIGRET>(CR_SUCCESS));
        count += std::string(identifier.data()).find(part) != std::string::npos ? 1 : 0;
    }
    SetupDiDestroyDeviceInfoList(set);
    return count;
}

TEST(Discovery, ScannerThatIsADeviceOfPortsAndAComPortInterface_IsListedOnce) {
    constexpr GUID ports{
        0x4D36E978, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
    constexpr GUID comPorts{
        0x86E0D1E0, 0x8089, 0x11D0, {0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73}};
    const SimulatorProcess scanner({"--serial", "A1B2C3"});
    EXPECT_EQ(devicesOfTheSystem(ports, DIGCF_PRESENT, "A1B2C3"), 1);
    EXPECT_EQ(devicesOfTheSystem(comPorts, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE, "A1B2C3"), 1);
    EXPECT_THAT(attachedScanners(), ElementsAre(listed(scanner, "A1B2C3|Ridge Scanner|Ridge")));
}

TEST(Discovery, ScannerThatWasKilled_IsTakenOffTheListWhenAnotherStarts) {
    SimulatorProcess killed({"--serial", "KILLED"});
    killed.port().await(simulator::PortFlag::lineOpen);
    killed.kill();
    killed.port().await(simulator::PortFlag::present, false);
    const SimulatorProcess scanner({"--serial", "A1B2C3"});
    EXPECT_THAT(attachedScanners(), ElementsAre(listed(scanner, "A1B2C3|Ridge Scanner|Ridge")));
}

TEST(Discovery, ScannerOnThePortOfAKilledOne_IsListedAlone) {
    std::uint32_t port = 0;
    {
        SimulatorProcess killed({"--serial", "KILLED", "--description", "Old"});
        port = killed.portNumber();
        killed.port().await(simulator::PortFlag::lineOpen);
        killed.kill();
        killed.port().await(simulator::PortFlag::present, false);
    }
    const SimulatorProcess scanner({"--serial", "KILLED", "--description", "New"}, port);
    EXPECT_THAT(attachedScanners(), ElementsAre(listed(scanner, "KILLED|New|Ridge")));
}

TEST(Discovery, SecondScannerWithTheSameSerialNumber_DoesNotStart) {
    const SimulatorProcess scanner({"--serial", "A1B2C3"});
    const ProgramResult second =
        runProgram("ridge-scanner.exe", {"--virtual", "COM19", "--commands", "--serial", "A1B2C3"});
    EXPECT_EQ(second.exitStatus, 2UL);
    EXPECT_NE(second.output.find("cannot list the device"), std::string::npos) << second.output;
    EXPECT_THAT(attachedScanners(), ElementsAre(listed(scanner, "A1B2C3|Ridge Scanner|Ridge")));
}

/// What Wine leaves of a device that somebody looked at while it was being removed.
void leaveRemainsOf(const std::string& serialNumber) {
    std::array<char, 128> path{};
    std::snprintf(path.data(), path.size(),
                  R"(System\CurrentControlSet\Enum\USB\VID_%04X&PID_%04X\%s)", scannerVendorId,
                  scannerProductId, serialNumber.c_str());
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.data(), 0, nullptr, 0, KEY_WRITE, nullptr,
                              &key, nullptr),
              ERROR_SUCCESS);
    RegCloseKey(key);
}

TEST(Discovery, RemainsOfARemovedDevice_DoNotKeepAScannerFromStarting) {
    leaveRemainsOf("REMAINS");
    const SimulatorProcess scanner({"--serial", "REMAINS"});
    EXPECT_THAT(attachedScanners(), ElementsAre(listed(scanner, "REMAINS|Ridge Scanner|Ridge")));
}

TEST(Discovery, FromSeveralThreads_FindsTheSame) {
    const SimulatorProcess scanner;
    std::vector<std::thread> callers;
    for (int caller = 0; caller < 4; ++caller) {
        callers.emplace_back([] { EXPECT_EQ(queryDevices()->count, 1U); });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
}

TEST(Discovery, ScannerThatHasEnded_IsNotListed) {
    { const SimulatorProcess scanner; }
    EXPECT_THAT(attachedScanners(), IsEmpty());
}

} // namespace
} // namespace ridge::test
