#include "host.h"
#include "simulatorprocess.h"
#include "systemtext.h"

#include <gtest/gtest.h>

namespace ridge::test {
namespace {

TEST(Connection, PortThatDoesNotExist_GivesTheSystemsTextAndLeavesNoSession) {
    Host host;
    EXPECT_EQ(host.connect(R"(\\.\COM199)"), RIDGE_SERIAL_PORT_ERROR);
    EXPECT_EQ(host.lastError(), systemText(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(ridgeIsConnected(host.context()), 0);
    EXPECT_EQ(host.connect(R"(\\.\COM199)"), RIDGE_SERIAL_PORT_ERROR)
        << "the context is free for another try";
}

TEST(Connection, ScannerOnThePort_IsConnectedUntilDisconnected) {
    SimulatorProcess scanner({"--baud", "0"});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    EXPECT_EQ(ridgeIsConnected(host.context()), 1);
    ridgeDisconnect(host.context());
    EXPECT_EQ(ridgeIsConnected(host.context()), 0);
}

TEST(Connection, SecondConnectOnAContext_IsRefusedAndTheSessionGoesOn) {
    SimulatorProcess scanner({"--baud", "0"});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    EXPECT_EQ(host.connect(scanner.portName()), RIDGE_CONTEXT_IN_USE);
    EXPECT_EQ(host.lastError(), "Context in use.");
    ridgeDeviceInfo info{};
    EXPECT_EQ(ridgeGetInfo(host.context(), &info), RIDGE_SUCCESS);
}

TEST(Connection, PortThatAnotherContextHolds_IsRefusedBySystem) {
    SimulatorProcess scanner({"--baud", "0"});
    Host holder;
    ASSERT_EQ(holder.connect(scanner.portName()), RIDGE_SUCCESS) << holder.lastError();
    Host late;
    EXPECT_EQ(late.connect(scanner.portName()), RIDGE_SERIAL_PORT_ERROR);
    EXPECT_EQ(late.lastError(), systemText(ERROR_ACCESS_DENIED));
}

TEST(Connection, Info_IsTheScannersOwn) {
    SimulatorProcess scanner({"--baud", "0", "--serial", "RS-000123"});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    ridgeDeviceInfo info{};
    ASSERT_EQ(ridgeGetInfo(host.context(), &info), RIDGE_SUCCESS);
    EXPECT_STREQ(info.text1, "Ridge Scanner");
    EXPECT_STREQ(info.text2, "RS-000123");
    EXPECT_STREQ(info.text3, "2.4.1");
    EXPECT_STREQ(info.text4, "C");
    EXPECT_STREQ(info.text5, "1.0.2");
    EXPECT_STREQ(info.text6, "2024-03");
    EXPECT_STREQ(info.text7, "key none, certificate none");
    EXPECT_EQ(info.value1, 300);
    EXPECT_EQ(info.value2, 400);
    EXPECT_EQ(info.features, 0x1FU);
}

TEST(Connection, SettingsThatWereSet_AreReadByTheNextConnection) {
    SimulatorProcess scanner({"--baud", "0"});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    ridgeDeviceSettings settings{};
    ASSERT_EQ(ridgeSettingsGet(host.context(), &settings), RIDGE_SUCCESS);
    EXPECT_EQ(settings.rotation, 0);
    EXPECT_EQ(settings.option, 0);

    const ridgeDeviceSettings wanted{3, 1};
    ASSERT_EQ(ridgeSettingsSet(host.context(), &wanted), RIDGE_SUCCESS) << host.lastError();
    ASSERT_EQ(ridgeSettingsGet(host.context(), &settings), RIDGE_SUCCESS);
    EXPECT_EQ(settings.rotation, 0) << "the values of the moment of connecting";

    ridgeDisconnect(host.context());
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    ASSERT_EQ(ridgeSettingsGet(host.context(), &settings), RIDGE_SUCCESS);
    EXPECT_EQ(settings.rotation, 3);
    EXPECT_EQ(settings.option, 1);
}

TEST(Connection, ScannerThatNeverAnswers_TimesOutAndLeavesNoSession) {
    SimulatorProcess scanner({"--baud", "0", "--fault", "any: no-answer always"});
    Host host;
    EXPECT_EQ(host.connect(scanner.portName()), RIDGE_NO_RESPONSE);
    EXPECT_EQ(host.lastError(), "Timeout retrieving device information.");
    EXPECT_EQ(ridgeIsConnected(host.context()), 0);
    EXPECT_FALSE(scanner.port().state().has(simulator::PortFlag::hostOpen)) << "the port is closed";
}

TEST(Connection, ScannerThatNeverDrainsItsInput_TimesOutWriting) {
    SimulatorProcess scanner({"--baud", "0"});
    scanner.port().holdWrites();
    Host host;
    EXPECT_EQ(host.connect(scanner.portName()), RIDGE_TIMEOUT);
    EXPECT_EQ(host.lastError(), "Timeout writing to device port");
    EXPECT_FALSE(scanner.port().state().has(simulator::PortFlag::hostOpen));

    scanner.port().releaseWrites();
    EXPECT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
}

struct RefusedRequest {
    simulator::PortRequest request;
    std::string text;
};

class RefusedPortRequest : public testing::TestWithParam<RefusedRequest> {};

TEST_P(RefusedPortRequest, FailsTheConnectWithItsTextAndLeavesThePortFree) {
    SimulatorProcess scanner({"--baud", "0"});
    scanner.port().refuse(GetParam().request, simulator::PortStatus::accessDenied);
    Host host;
    EXPECT_EQ(host.connect(scanner.portName()), RIDGE_SERIAL_PORT_ERROR);
    EXPECT_EQ(host.lastError(), GetParam().text + systemText(ERROR_ACCESS_DENIED));
    EXPECT_FALSE(scanner.port().state().has(simulator::PortFlag::hostOpen));

    scanner.port().accept(GetParam().request);
    EXPECT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
}

INSTANTIATE_TEST_SUITE_P(
    Connection, RefusedPortRequest,
    testing::Values(
        RefusedRequest{simulator::PortRequest::open, ""},
        RefusedRequest{simulator::PortRequest::purge, "Error clearing port. "},
        RefusedRequest{simulator::PortRequest::getState, "Error reading port settings. "},
        RefusedRequest{simulator::PortRequest::setState, "Error updating port settings. "},
        RefusedRequest{simulator::PortRequest::setTimeouts, "Error updating port timeouts. "},
        RefusedRequest{simulator::PortRequest::setMask, "Error setting port mask. "},
        RefusedRequest{simulator::PortRequest::write, "Error writing to device port. "}));

TEST(Connection, TwoScannersOnTwoContexts_DoNotMeet) {
    SimulatorProcess first({"--baud", "0", "--seed", "1"});
    SimulatorProcess second({"--baud", "0", "--seed", "2"});
    Host left;
    Host right;
    ASSERT_EQ(left.connect(first.portName()), RIDGE_SUCCESS) << left.lastError();
    ASSERT_EQ(right.connect(second.portName()), RIDGE_SUCCESS) << right.lastError();
    ASSERT_EQ(left.startCapture(anyFinger), RIDGE_SUCCESS) << left.lastError();
    ASSERT_EQ(right.startCapture(anyFinger), RIDGE_SUCCESS) << right.lastError();
    const std::vector<ReceivedImage> leftImages = left.waitForImages(1);
    const std::vector<ReceivedImage> rightImages = right.waitForImages(1);
    EXPECT_EQ(leftImages[0].image.size(), rightImages[0].image.size());
    EXPECT_NE(leftImages[0].image, rightImages[0].image) << "each scanner has its own fingers";
    EXPECT_TRUE(left.failures().empty());
    EXPECT_TRUE(right.failures().empty());
}

} // namespace
} // namespace ridge::test
