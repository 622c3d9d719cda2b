#include "host.h"
#include "simulatorprocess.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>

namespace ridge::test {
namespace {

/// A fault of the scanner or its line during a capture, and what the host hears of it.
struct CaptureFault {
    std::string fault;
    ReceivedFailure failure;
};

void PrintTo(const CaptureFault& fault, std::ostream* stream) {
    *stream << fault.fault;
}

class CaptureWithFault : public testing::TestWithParam<CaptureFault> {};

TEST_P(CaptureWithFault, FailsAsItShouldAndTheNextConnectionWorks) {
    SimulatorProcess scanner({"--baud", "0", "--finger-delay", "0", "--fault", GetParam().fault});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    ASSERT_EQ(host.startCapture(anyFinger), RIDGE_SUCCESS) << host.lastError();
    EXPECT_EQ(host.waitForFailures(1)[0], GetParam().failure);
    ridgeStopCapture(host.context());
    EXPECT_TRUE(host.images().empty());
    EXPECT_EQ(ridgeIsConnected(host.context()), 1);

    // A chunk that was acknowledged before the failure may still come, and spoils one connect.
    ridgeDisconnect(host.context());
    if (host.connect(scanner.portName()) != RIDGE_SUCCESS) {
        EXPECT_EQ(host.lastError(), "GET DEVICE INFO: Invalid response code 17. Expected 48.");
        ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    }
    ASSERT_EQ(host.startCapture(anyFinger), RIDGE_SUCCESS) << host.lastError();
    EXPECT_EQ(host.waitForImages(1)[0].image.size(), 120000U);
}

constexpr const char* noResult = "Timeout checking for capture result.";

INSTANTIATE_TEST_SUITE_P(
    LineFaults, CaptureWithFault,
    testing::Values(
        CaptureFault{"START CAPTURE: no-answer", {RIDGE_NO_RESPONSE, "Timeout starting capture."}},
        CaptureFault{"START CAPTURE: wrong-checksum",
                     {RIDGE_NO_RESPONSE, "Timeout starting capture."}},
        CaptureFault{"START CAPTURE: truncated-frame",
                     {RIDGE_NO_RESPONSE, "Timeout starting capture."}},
        CaptureFault{"START CAPTURE: wrong-code:0x31",
                     {RIDGE_NO_RESPONSE, "START CAPTURE: Invalid response code 49. Expected 16."}},
        CaptureFault{"START CAPTURE: wrong-type:1",
                     {RIDGE_UNEXPECTED_RESPONSE, "START CAPTURE: Invalid response type 1."}},
        CaptureFault{"START CAPTURE: device-error:5:ok",
                     {RIDGE_DEVICE_FAILURE, "START CAPTURE: Failed (16) with error 5. ok"}},
        CaptureFault{"START CAPTURE: device-error:5",
                     {RIDGE_DEVICE_FAILURE, "START CAPTURE: Failed (16) with error 5. "}},
        CaptureFault{
            "START CAPTURE: short-error:2",
            {RIDGE_DEVICE_FAILURE, "START CAPTURE: Failed (16/2). No error code available"}},
        CaptureFault{"GET CAPTURE DATA: no-answer", {RIDGE_NO_RESPONSE, noResult}},
        CaptureFault{"GET CAPTURE DATA: device-error:77:broken sensor",
                     {RIDGE_DEVICE_FAILURE, "Error 77 retrieving capture data. broken sensor"}},
        CaptureFault{"GET CAPTURE DATA/data: no-answer", {RIDGE_NO_RESPONSE, noResult}},
        CaptureFault{"GET CAPTURE DATA/data#3: flipped-byte", {RIDGE_NO_RESPONSE, noResult}},
        CaptureFault{"GET CAPTURE DATA/data: empty-answer",
                     {RIDGE_NO_RESPONSE, "GET CAPTURE DATA: Missing response data"}},
        CaptureFault{"GET CAPTURE DATA/block: block-length:18",
                     {RIDGE_MALFORMED_DATA, "Invalid captured data length 18"}},
        CaptureFault{"GET CAPTURE DATA/block: block-length:140001",
                     {RIDGE_MALFORMED_DATA, "Invalid captured data length 140001"}},
        CaptureFault{"GET CAPTURE DATA/block: block-length:9000",
                     {RIDGE_MALFORMED_DATA, "Invalid captured data length 9000/10000"}}));

TEST(LineFaults, AnswerThatNobodyAwaits_IsWhatTheNextCommandReceives) {
    SimulatorProcess scanner({"--baud", "0", "--fault", "SET SETTINGS: duplicate-answer"});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    const ridgeDeviceSettings settings{0, 0};
    EXPECT_EQ(ridgeSettingsSet(host.context(), &settings), RIDGE_SUCCESS) << host.lastError();
    ASSERT_EQ(host.startCapture(anyFinger), RIDGE_SUCCESS) << host.lastError();
    EXPECT_EQ(host.waitForFailures(1)[0],
              (ReceivedFailure{RIDGE_NO_RESPONSE,
                               "START CAPTURE: Invalid response code 22. Expected 16."}));
}

TEST(LineFaults, LateAnswer_TimesOutWithTheCommandsText) {
    SimulatorProcess scanner({"--baud", "0", "--fault", "SET SETTINGS: late-answer:60000"});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    const ridgeDeviceSettings settings{0, 0};
    EXPECT_EQ(ridgeSettingsSet(host.context(), &settings), RIDGE_NO_RESPONSE);
    EXPECT_EQ(host.lastError(), "Timeout updating device settings.");
    EXPECT_EQ(ridgeSettingsSet(host.context(), &settings), RIDGE_SUCCESS) << host.lastError();
}

TEST(LineFaults, StreamWithNothingReadyAtFirst_GoesOn) {
    SimulatorProcess scanner({"--baud", "0", "--fault", "GET STREAM DATA: device-error:7"});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    ASSERT_EQ(host.startStream(), RIDGE_SUCCESS) << host.lastError();
    host.waitForImages(2);
    EXPECT_TRUE(host.failures().empty());
}

} // namespace
} // namespace ridge::test
