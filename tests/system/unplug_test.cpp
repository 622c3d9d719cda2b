#include "host.h"
#include "patience.h"
#include "simulatorprocess.h"
#include "systemtext.h"

#include <gtest/gtest.h>

#include <memory>

namespace ridge::test {
namespace {

using simulator::PortFlag;
using simulator::PortStatus;

const std::string waitFailed = "Failed to wait on port event. ";

/// A connected host whose scanner goes away.
class Unplug : public testing::Test {
protected:
    void connect(const std::vector<std::string>& options) {
        scanner = std::make_unique<SimulatorProcess>(options);
        host = std::make_unique<Host>();
        ASSERT_EQ(host->connect(scanner->portName()), RIDGE_SUCCESS) << host->lastError();
        // Not before the library waits can its wait be aborted.
        scanner->port().await(PortFlag::hostWaits);
    }

    /// Waits until the receive thread has seen the end of the port: it then waits no more.
    std::int32_t statusOnceNoticed() {
        ridgeDeviceInfo info{};
        std::int32_t status = RIDGE_SUCCESS;
        comesAbout([&] {
            status = ridgeGetInfo(host->context(), &info);
            return status != RIDGE_SUCCESS;
        });
        return status;
    }

    void expectReconnect() {
        scanner->port().replug();
        ridgeDisconnect(host->context());
        ASSERT_EQ(host->connect(scanner->portName()), RIDGE_SUCCESS) << host->lastError();
        ridgeDeviceInfo info{};
        EXPECT_EQ(ridgeGetInfo(host->context(), &info), RIDGE_SUCCESS) << host->lastError();
    }

    std::unique_ptr<SimulatorProcess> scanner;
    std::unique_ptr<Host> host;
};

TEST_F(Unplug, WhileIdle_IsReportedByTheNextCallWithTheSystemsText) {
    connect({"--baud", "0"});
    scanner->port().unplug(PortStatus::operationAborted);
    EXPECT_EQ(statusOnceNoticed(), RIDGE_SERIAL_PORT_ERROR);
    const std::string text =
        "Serial port error detected. " + waitFailed + systemText(ERROR_OPERATION_ABORTED);
    EXPECT_EQ(host->lastError(), text);

    const ridgeDeviceSettings settings{0, 0};
    EXPECT_EQ(ridgeSettingsSet(host->context(), &settings), RIDGE_SERIAL_PORT_ERROR);
    EXPECT_EQ(host->startCapture(anyFinger), RIDGE_SERIAL_PORT_ERROR);
    EXPECT_EQ(host->lastError(), text);
    EXPECT_EQ(ridgeIsConnected(host->context()), 1) << "nobody has released the session yet";
    EXPECT_EQ(host->connect(scanner->portName()), RIDGE_CONTEXT_IN_USE);

    expectReconnect();
}

class UnplugWithError : public Unplug,
                        public testing::WithParamInterface<std::pair<PortStatus, unsigned long>> {};

TEST_P(UnplugWithError, NoticedBetweenTwoCommandsOfAStream_EndsItAndReleasesTheSession) {
    const auto [status, error] = GetParam();
    connect({"--baud", "0"});
    // No command is under way while the host looks at an image.
    host->judgeWith([this, reason = status](const ReceivedImage&) -> std::uint8_t {
        scanner->port().await(PortFlag::hostWaits);
        scanner->port().abortWait(reason);
        EXPECT_EQ(statusOnceNoticed(), RIDGE_SERIAL_PORT_ERROR);
        return 0;
    });
    ASSERT_EQ(host->startStream(), RIDGE_SUCCESS) << host->lastError();
    const ReceivedFailure failure = host->waitForFailures(1)[0];
    EXPECT_EQ(failure, (ReceivedFailure{RIDGE_SERIAL_PORT_ERROR,
                                        "Serial port error. " + waitFailed + systemText(error)}));
    ridgeStopCapture(host->context());
    EXPECT_EQ(ridgeIsConnected(host->context()), 0);
    EXPECT_EQ(host->failures().size(), 1U);
    EXPECT_FALSE(scanner->port().state().has(PortFlag::hostOpen)) << "the port is closed";
    ridgeDeviceInfo info{};
    EXPECT_EQ(ridgeGetInfo(host->context(), &info), RIDGE_SERIAL_PORT_ERROR)
        << "the port's failure comes before the missing connection";
    EXPECT_EQ(host->connect(scanner->portName()), RIDGE_CONTEXT_IN_USE);

    ridgeDisconnect(host->context());
    EXPECT_EQ(host->connect(scanner->portName()), RIDGE_SUCCESS) << host->lastError();
}

INSTANTIATE_TEST_SUITE_P(Unplug, UnplugWithError,
                         testing::Values(std::pair{PortStatus::operationAborted, 995UL},
                                         std::pair{PortStatus::generalFailure, 31UL},
                                         std::pair{PortStatus::accessDenied, 5UL},
                                         std::pair{PortStatus::deviceNotConnected, 1167UL}));

TEST_F(Unplug, DuringACapture_EndsItInOneOfFourWays) {
    connect({"--baud", "0", "--finger-delay", "never", "--verbose"});
    ASSERT_EQ(host->startCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    scanner->waitForReport("GET CAPTURE DATA");
    scanner->port().unplug(PortStatus::operationAborted, PortStatus::deviceNotConnected);
    const ReceivedFailure failure = host->waitForFailures(1)[0];
    // The moment decides: while an answer is awaited, between two commands, with the port waiting
    // or reading, or while writing.
    const ReceivedFailure answerLost{RIDGE_NO_RESPONSE, "Timeout checking for capture result."};
    const ReceivedFailure noticed{RIDGE_SERIAL_PORT_ERROR, "Serial port error. " + waitFailed +
                                                               systemText(ERROR_OPERATION_ABORTED)};
    const ReceivedFailure notRead{RIDGE_SERIAL_PORT_ERROR,
                                  "Serial port error. Failed to read data from port. " +
                                      systemText(ERROR_DEVICE_NOT_CONNECTED)};
    const ReceivedFailure notWritten{RIDGE_SERIAL_PORT_ERROR,
                                     "Error writing to device port. " +
                                         systemText(ERROR_DEVICE_NOT_CONNECTED)};
    EXPECT_TRUE(failure == answerLost || failure == noticed || failure == notRead ||
                failure == notWritten)
        << testing::PrintToString(failure);
    ridgeStopCapture(host->context());
    EXPECT_EQ(host->failures().size(), 1U);
    EXPECT_EQ(host->startCapture(anyFinger), RIDGE_SERIAL_PORT_ERROR);
    expectReconnect();
}

TEST_F(Unplug, WhileUnplugged_ThePortDoesNotExist) {
    connect({"--baud", "0"});
    scanner->port().unplug();
    ridgeDisconnect(host->context());
    EXPECT_EQ(host->connect(scanner->portName()), RIDGE_SERIAL_PORT_ERROR);
    EXPECT_EQ(host->lastError(), systemText(ERROR_FILE_NOT_FOUND));
    scanner->port().replug();
    EXPECT_EQ(host->connect(scanner->portName()), RIDGE_SUCCESS) << host->lastError();
}

TEST_F(Unplug, ReadThatFails_IsReportedOnceWithItsText) {
    connect({"--baud", "0"});
    scanner->port().refuse(simulator::PortRequest::read, PortStatus::generalFailure);
    const ridgeDeviceSettings settings{0, 0};
    EXPECT_EQ(ridgeSettingsSet(host->context(), &settings), RIDGE_NO_RESPONSE);
    EXPECT_EQ(host->lastError(), "Timeout updating device settings.");
    EXPECT_EQ(ridgeSettingsSet(host->context(), &settings), RIDGE_SERIAL_PORT_ERROR);
    EXPECT_EQ(host->lastError(), "Serial port error detected. Failed to read data from port. " +
                                     systemText(ERROR_GEN_FAILURE));
}

} // namespace
} // namespace ridge::test
