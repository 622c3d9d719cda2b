#include "argumentchecks.h"

#include "fakefactory.h"
#include "gate.h"

#include <gmock/gmock.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace ridge {
namespace {

using test::Chunk;
using test::FakeFactory;
using test::Gate;
using testing::ElementsAre;

void ignoreError(std::int32_t, const char*, void*) {}
void ignoreResult(const ridgeCaptureResult*, void*) {}

class ArgumentChecksTest : public testing::Test {
protected:
    ArgumentChecksTest() { context.lastError = earlierText; }

    void connect() { context.device = std::make_unique<RidgeDevice>("COM7", factory); }

    /// Starts a capture that stays in its first poll until the gate is opened.
    void startHeldCapture(Gate& gate) {
        factory.script.captureData.then([&gate] {
            gate.pass();
            return Chunk{};
        });
        context.captureListener = std::make_unique<DefaultCaptureListener>(
            ridgeCaptureCallbacks{ignoreError, ignoreResult, nullptr}, nullptr);
        context.device->startCapture(0, 0, 0, nullptr, *context.captureListener);
        factory.journal.waitFor("getCaptureData poll");
    }

    static constexpr const char* earlierText = "text of an earlier failure";

    FakeFactory factory;
    ridgeDeviceContext context;
};

TEST_F(ArgumentChecksTest, Fail_WritesTheTextAndReturnsTheCode) {
    EXPECT_EQ(fail(context, 8, "Context in use."), 8);
    EXPECT_EQ(context.lastError, "Context in use.");
}

TEST_F(ArgumentChecksTest, FirstFailure_RunsTheChecksInOrderUpToTheFirstThatFails) {
    std::vector<int> ran;
    const auto check = [&ran](int number, std::int32_t code) {
        return [&ran, number, code] {
            ran.push_back(number);
            return code;
        };
    };
    EXPECT_EQ(firstFailure(check(1, 0), check(2, 5), check(3, 11)), 5);
    EXPECT_THAT(ran, ElementsAre(1, 2));
}

TEST_F(ArgumentChecksTest, FirstFailure_WithoutFailure_RunsAllAndPasses) {
    int ran = 0;
    const auto check = [&ran] {
        ++ran;
        return 0;
    };
    EXPECT_EQ(firstFailure(check, check, check), 0);
    EXPECT_EQ(ran, 3);
}

TEST_F(ArgumentChecksTest, SerialPortError_WithoutSession_Passes) {
    EXPECT_EQ(checkSerialPortError(context), 0);
    EXPECT_EQ(context.lastError, earlierText);
}

TEST_F(ArgumentChecksTest, SerialPortError_WithAHealthySession_Passes) {
    connect();
    EXPECT_EQ(checkSerialPortError(context), 0);
    EXPECT_EQ(context.lastError, earlierText);
}

TEST_F(ArgumentChecksTest, SerialPortError_Recorded_Fails5WithTheStoredText) {
    connect();
    factory.failPort("50 % gone.\r\n");
    EXPECT_EQ(checkSerialPortError(context), 5);
    EXPECT_EQ(context.lastError, "Serial port error detected. 50 % gone.\r\n");
}

TEST_F(ArgumentChecksTest, SerialPortError_OfAReleasedSession_StillFails5) {
    connect();
    factory.failPort("unplugged");
    context.device->disconnect(true);
    EXPECT_EQ(checkSerialPortError(context), 5);
    EXPECT_EQ(context.lastError, "Serial port error detected. unplugged");
}

TEST_F(ArgumentChecksTest, Connected_WithoutSession_Fails11) {
    EXPECT_EQ(checkConnected(context), 11);
    EXPECT_EQ(context.lastError, "Not connected.");
}

TEST_F(ArgumentChecksTest, Connected_WithASession_Passes) {
    connect();
    EXPECT_EQ(checkConnected(context), 0);
    EXPECT_EQ(context.lastError, earlierText);
}

TEST_F(ArgumentChecksTest, Connected_WithAReleasedSession_Fails11) {
    connect();
    context.device->disconnect(true);
    EXPECT_EQ(checkConnected(context), 11);
    EXPECT_EQ(context.lastError, "Not connected.");
}

TEST_F(ArgumentChecksTest, CaptureInactive_WithoutSession_Passes) {
    EXPECT_EQ(checkCaptureInactive(context), 0);
    EXPECT_EQ(context.lastError, earlierText);
}

TEST_F(ArgumentChecksTest, CaptureInactive_WithNothingRunning_Passes) {
    connect();
    EXPECT_EQ(checkCaptureInactive(context), 0);
    EXPECT_EQ(context.lastError, earlierText);
}

TEST_F(ArgumentChecksTest, CaptureInactive_WhileACaptureRuns_Fails12) {
    connect();
    Gate gate;
    startHeldCapture(gate);
    EXPECT_EQ(checkCaptureInactive(context), 12);
    EXPECT_EQ(context.lastError, "Capture is active.");
    gate.open();
    context.device->stopCapture();
    context.lastError = earlierText;
    EXPECT_EQ(checkCaptureInactive(context), 0);
    EXPECT_EQ(context.lastError, earlierText);
}

TEST_F(ArgumentChecksTest, CaptureParameters_Null_Fails3) {
    EXPECT_EQ(checkCaptureParameters(context, nullptr), 3);
    EXPECT_EQ(context.lastError, "Capture parameters cannot be NULL.");
}

TEST_F(ArgumentChecksTest, CaptureParameters_AtTheirLimits_Pass) {
    const ridgeCaptureParameters largest{10, 30000, std::numeric_limits<std::uint32_t>::max()};
    EXPECT_EQ(checkCaptureParameters(context, &largest), 0);
    const ridgeCaptureParameters smallest{0, 0, 0};
    EXPECT_EQ(checkCaptureParameters(context, &smallest), 0);
    EXPECT_EQ(context.lastError, earlierText);
}

TEST_F(ArgumentChecksTest, CaptureParameters_FingerPosition11_Fails2) {
    const ridgeCaptureParameters parameters{11, 0, 0};
    EXPECT_EQ(checkCaptureParameters(context, &parameters), 2);
    EXPECT_EQ(context.lastError,
              "Invalid finger position 11. Finger position must be between 0 and 10, inclusive.");
}

TEST_F(ArgumentChecksTest, CaptureParameters_FingerPosition255_IsNotTakenAsNegative) {
    const ridgeCaptureParameters parameters{255, 0, 0};
    EXPECT_EQ(checkCaptureParameters(context, &parameters), 2);
    EXPECT_EQ(context.lastError,
              "Invalid finger position 255. Finger position must be between 0 and 10, inclusive.");
}

TEST_F(ArgumentChecksTest, CaptureParameters_Timeout30001_Fails2) {
    const ridgeCaptureParameters parameters{0, 30001, 0};
    EXPECT_EQ(checkCaptureParameters(context, &parameters), 2);
    EXPECT_EQ(context.lastError,
              "Invalid capture timeout 30001. Capture timeout cannot exceed 30000 milliseconds.");
}

TEST_F(ArgumentChecksTest, CaptureParameters_LargestTimeout_Fails2) {
    const ridgeCaptureParameters parameters{0, std::numeric_limits<std::uint32_t>::max(), 0};
    EXPECT_EQ(checkCaptureParameters(context, &parameters), 2);
    // The text is filled with "%d".
    EXPECT_EQ(context.lastError,
              "Invalid capture timeout -1. Capture timeout cannot exceed 30000 milliseconds.");
}

TEST_F(ArgumentChecksTest, CaptureParameters_WrongFingerAndTimeout_ReportTheFinger) {
    const ridgeCaptureParameters parameters{11, 30001, 0};
    EXPECT_EQ(checkCaptureParameters(context, &parameters), 2);
    EXPECT_EQ(context.lastError,
              "Invalid finger position 11. Finger position must be between 0 and 10, inclusive.");
}

TEST_F(ArgumentChecksTest, CaptureCallbacks_Null_Fails3) {
    EXPECT_EQ(checkCaptureCallbacks(context, nullptr), 3);
    EXPECT_EQ(context.lastError, "Capture callbacks cannot be NULL.");
}

TEST_F(ArgumentChecksTest, CaptureCallbacks_AllNull_ReportTheErrorCallback) {
    const ridgeCaptureCallbacks callbacks{};
    EXPECT_EQ(checkCaptureCallbacks(context, &callbacks), 2);
    EXPECT_EQ(context.lastError, "Capture error callback function cannot be NULL.");
}

TEST_F(ArgumentChecksTest, CaptureCallbacks_WithoutErrorCallback_Fail2) {
    const ridgeCaptureCallbacks callbacks{nullptr, ignoreResult, nullptr};
    EXPECT_EQ(checkCaptureCallbacks(context, &callbacks), 2);
    EXPECT_EQ(context.lastError, "Capture error callback function cannot be NULL.");
}

TEST_F(ArgumentChecksTest, CaptureCallbacks_WithoutCaptureCallback_Fail2) {
    const ridgeCaptureCallbacks callbacks{ignoreError, nullptr, nullptr};
    EXPECT_EQ(checkCaptureCallbacks(context, &callbacks), 2);
    EXPECT_EQ(context.lastError, "Capture success callback function cannot be NULL.");
}

TEST_F(ArgumentChecksTest, CaptureCallbacks_WithoutEventCallback_Pass) {
    const ridgeCaptureCallbacks callbacks{ignoreError, ignoreResult, nullptr};
    EXPECT_EQ(checkCaptureCallbacks(context, &callbacks), 0);
    EXPECT_EQ(context.lastError, earlierText);
}

TEST_F(ArgumentChecksTest, Settings_Null_Fails3) {
    EXPECT_EQ(checkSettings(context, nullptr), 3);
    EXPECT_EQ(context.lastError, "Settings cannot be NULL.");
}

TEST_F(ArgumentChecksTest, Settings_Rotation3_Passes) {
    const ridgeDeviceSettings settings{3, 255};
    EXPECT_EQ(checkSettings(context, &settings), 0);
    EXPECT_EQ(context.lastError, earlierText);
}

TEST_F(ArgumentChecksTest, Settings_Rotation4_Fails2) {
    const ridgeDeviceSettings settings{4, 0};
    EXPECT_EQ(checkSettings(context, &settings), 2);
    EXPECT_EQ(context.lastError, "Invalid rotation angle 4.");
}

TEST_F(ArgumentChecksTest, Settings_Rotation255_IsNotTakenAsNegative) {
    const ridgeDeviceSettings settings{255, 0};
    EXPECT_EQ(checkSettings(context, &settings), 2);
    EXPECT_EQ(context.lastError, "Invalid rotation angle 255.");
}

} // namespace
} // namespace ridge
