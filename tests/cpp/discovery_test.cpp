// Scanners that the system lists.

#include "hostedscanner.h"
#include "simulatorprocess.h"

#include <algorithm>
#include <utility>

namespace ridge::test {
namespace {

TEST(Discovery, NoScanner_IsAnEmptyList) {
    EXPECT_TRUE(queryDevices().empty());
}

TEST(Discovery, AttachedScanner_IsListedWithItsTexts) {
    const SimulatorProcess attached({"--serial", "A1B2C3"});
    const DeviceList devices = queryDevices();
    ASSERT_EQ(devices.size(), 1U);
    EXPECT_EQ(devices[0].portName(), attached.comPort());
    EXPECT_EQ(devices[0].serialNumber(), "A1B2C3");
    EXPECT_EQ(devices[0].description(), "Ridge Scanner");
    EXPECT_EQ(devices[0].manufacturer(), "Ridge");
}

TEST(Discovery, Device_OutlivesItsListAndConnects) {
    const SimulatorProcess first({"--baud", "0", "--serial", "FIRST"});
    const SimulatorProcess second({"--baud", "0", "--serial", "SECOND"});
    const Device chosen = [] {
        DeviceList devices = queryDevices();
        DeviceList moved = std::move(devices);
        return *std::find_if(moved.begin(), moved.end(), [](const Device& device) {
            return device.serialNumber() == "SECOND";
        });
    }();
    EXPECT_EQ(chosen.portName(), second.comPort());
    Scanner scanner;
    scanner.connect(chosen);
    EXPECT_EQ(scanner.info().text2, "SECOND");
    EXPECT_EQ(failureOf([&] { scanner.connect(chosen); }),
              (Failure{Status::contextInUse, "Context in use."}));
}

TEST(Discovery, ScannerThatHasGone_CannotBeConnected) {
    SimulatorProcess attached({"--baud", "0"});
    const DeviceList devices = queryDevices();
    ASSERT_EQ(devices.size(), 1U);
    attached.unplug();
    Scanner scanner;
    const Failure failure = failureOf([&] { scanner.connect(devices[0]); });
    EXPECT_EQ(failure.status, Status::serialPortError) << failure.text;
    EXPECT_FALSE(scanner.isConnected());
}

} // namespace
} // namespace ridge::test
