// Whole sessions through the exported functions, over the library's own layers, with a simulated
// scanner on a line in memory.

#include "host.h"
#include "simulatedline.h"

#include <gtest/gtest.h>

#include <array>
#include <exception>
#include <numeric>
#include <thread>

namespace ridge::test {
namespace {

using simulator::GreyImage;
using simulator::ScannerConfig;

GreyImage gradient(std::uint32_t width, std::uint32_t height) {
    GreyImage image{width, height, std::vector<std::uint8_t>(std::size_t{width} * height)};
    std::iota(image.pixels.begin(), image.pixels.end(), std::uint8_t{0});
    return image;
}

ScannerConfig configWith(const GreyImage& image, const std::string& faults = "") {
    ScannerConfig config;
    config.images = {image};
    config.faults = simulator::parseFaultScript(faults);
    config.streamReduction = 1;
    return config;
}

TEST(Session, Capture_DeliversTheScannersImageByteForByte) {
    // Every byte value, the flags and the escape among them, in fourteen chunks.
    const GreyImage image = gradient(350, 399);
    SimulatedLine line("simulated", configWith(image));
    Host host;
    ASSERT_EQ(host.connect("simulated"), RIDGE_SUCCESS) << host.lastError();
    ASSERT_EQ(host.startCapture(anyFinger), RIDGE_SUCCESS) << host.lastError();
    const ReceivedImage received = host.waitForImages(1)[0];
    EXPECT_EQ(received.width, 350U);
    EXPECT_EQ(received.height, 399U);
    EXPECT_EQ(received.image, image.pixels);
    ridgeStopCapture(host.context());
    EXPECT_TRUE(host.failures().empty());
    EXPECT_EQ(line.scanner().deliveredImages(), 1U);
}

TEST(Session, AcceptedHostAssistedCapture_ShowsThePlainImagesAndDeliversTheCapture) {
    const GreyImage image = gradient(64, 50);
    SimulatedLine line("simulated", configWith(image));
    Host host;
    int shown = 0;
    host.judgeWith([&shown](const ReceivedImage&) -> std::uint8_t { return ++shown < 3 ? 0 : 1; });
    ASSERT_EQ(host.connect("simulated"), RIDGE_SUCCESS) << host.lastError();
    ASSERT_EQ(host.startHostAssistedCapture({3, 0, 1}), RIDGE_SUCCESS) << host.lastError();
    const std::vector<ReceivedImage> images = host.waitForImages(4);
    ridgeStopCapture(host.context());
    EXPECT_EQ(images[0].image, image.pixels) << "the mask is taken off";
    EXPECT_EQ(images[3].image, image.pixels);
    EXPECT_TRUE(host.failures().empty());
    EXPECT_EQ(line.scanner().lastVerdict(), std::optional(true));
}

TEST(Session, RotationThatWasSet_TurnsTheImage) {
    const GreyImage image = gradient(20, 10);
    SimulatedLine line("simulated", configWith(image));
    Host host;
    ASSERT_EQ(host.connect("simulated"), RIDGE_SUCCESS) << host.lastError();
    const ridgeDeviceSettings settings{1, 0};
    ASSERT_EQ(ridgeSettingsSet(host.context(), &settings), RIDGE_SUCCESS) << host.lastError();
    ASSERT_EQ(host.startCapture(anyFinger), RIDGE_SUCCESS) << host.lastError();
    const ReceivedImage received = host.waitForImages(1)[0];
    EXPECT_EQ(received.width, 10U);
    EXPECT_EQ(received.height, 20U);
    EXPECT_EQ(received.image, simulator::rotated(image, 1).pixels);
}

TEST(Session, StreamsStoppedAtAnyMoment_LeaveASessionThatCaptures) {
    const GreyImage image = gradient(100, 120);
    SimulatedLine line("simulated", configWith(image));
    Host host;
    ASSERT_EQ(host.connect("simulated"), RIDGE_SUCCESS) << host.lastError();
    for (std::size_t round = 1; round <= 100; ++round) {
        ASSERT_EQ(host.startStream(), RIDGE_SUCCESS) << host.lastError();
        if (round % 2 == 0) {
            host.waitForImages(host.images().size() + 1);
        }
        ridgeStopCapture(host.context());
    }
    EXPECT_TRUE(host.failures().empty());
    const std::size_t received = host.images().size();
    ASSERT_EQ(host.startCapture(anyFinger), RIDGE_SUCCESS) << host.lastError();
    EXPECT_EQ(host.waitForImages(received + 1).back().image, image.pixels);
}

TEST(Session, VerdictsFromOtherThreads_AreHeard) {
    const GreyImage image = gradient(64, 50);
    SimulatedLine line("simulated", configWith(image));
    Host host;
    ASSERT_EQ(host.connect("simulated"), RIDGE_SUCCESS) << host.lastError();
    ASSERT_EQ(host.startHostAssistedCapture({3, 0, 1}), RIDGE_SUCCESS) << host.lastError();
    host.waitForImages(1);
    std::thread judge([&host] { ridgeHostAssistedCaptureSetResult(host.context(), 0); });
    judge.join();
    host.waitForImages(2);
    std::thread secondJudge([&host] { ridgeHostAssistedCaptureSetResult(host.context(), 255); });
    secondJudge.join();
    host.waitForImages(3);
    ridgeStopCapture(host.context());
    EXPECT_EQ(host.images().size(), 3U);
    EXPECT_TRUE(host.failures().empty());
}

TEST(Session, EightScannersAtOnce_DoNotMeet) {
    std::vector<std::thread> hosts;
    std::array<bool, 8> delivered{};
    for (std::size_t number = 0; number < delivered.size(); ++number) {
        hosts.emplace_back([number, &delivered] {
            const std::string name = "simulated" + std::to_string(number);
            const GreyImage image = gradient(100, static_cast<std::uint32_t>(50 + 10 * number));
            try {
                SimulatedLine line(name, configWith(image));
                Host host;
                if (host.connect(name) == RIDGE_SUCCESS &&
                    host.startCapture(anyFinger) == RIDGE_SUCCESS) {
                    delivered[number] = host.waitForImages(1)[0].image == image.pixels;
                }
            } catch (const std::exception& failure) {
                ADD_FAILURE() << "scanner " << number << ": " << failure.what();
            }
        });
    }
    for (std::thread& host : hosts) {
        host.join();
    }
    for (std::size_t number = 0; number < delivered.size(); ++number) {
        EXPECT_TRUE(delivered[number]) << "scanner " << number;
    }
}

TEST(Session, ManyConnectionsToOneScanner_LeaveNothingOpen) {
    const GreyImage image = gradient(64, 50);
    SimulatedLine line("simulated", configWith(image));
    for (int round = 0; round < 200; ++round) {
        Host host;
        ASSERT_EQ(host.connect("simulated"), RIDGE_SUCCESS) << host.lastError();
        ASSERT_EQ(host.startCapture(anyFinger), RIDGE_SUCCESS) << host.lastError();
        host.waitForImages(1);
    }
    EXPECT_EQ(line.line().openPorts(), 0);
}

struct CaptureFault {
    std::string fault;
    ReceivedFailure failure;
};

void PrintTo(const CaptureFault& fault, std::ostream* stream) {
    *stream << fault.fault;
}

class SessionWithFault : public testing::TestWithParam<CaptureFault> {};

TEST_P(SessionWithFault, CaptureFailsAsItShouldAndTheNextOneWorks) {
    const GreyImage image = gradient(200, 120);
    SimulatedLine line("simulated", configWith(image, GetParam().fault));
    {
        Host host;
        ASSERT_EQ(host.connect("simulated"), RIDGE_SUCCESS) << host.lastError();
        ASSERT_EQ(host.startCapture(anyFinger), RIDGE_SUCCESS) << host.lastError();
        EXPECT_EQ(host.waitForFailures(1)[0], GetParam().failure);
        EXPECT_TRUE(host.images().empty());
    }
    Host host;
    ASSERT_EQ(host.connect("simulated"), RIDGE_SUCCESS) << host.lastError();
    ASSERT_EQ(host.startCapture(anyFinger), RIDGE_SUCCESS) << host.lastError();
    EXPECT_EQ(host.waitForImages(1)[0].image, image.pixels);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, SessionWithFault,
    testing::Values(
        CaptureFault{"GET CAPTURE DATA/block: short-block:4",
                     {RIDGE_MALFORMED_DATA, "Invalid captured data header length 4"}},
        CaptureFault{"GET CAPTURE DATA/block: short-block:18",
                     {RIDGE_MALFORMED_DATA, "Invalid captured data length 18"}},
        CaptureFault{"GET CAPTURE DATA/block: short-block:19",
                     {RIDGE_MALFORMED_DATA, "Invalid capture data"}},
        CaptureFault{"GET CAPTURE DATA/block: block-length:18",
                     {RIDGE_MALFORMED_DATA, "Invalid captured data length 18"}},
        CaptureFault{"GET CAPTURE DATA/block: block-length:140001",
                     {RIDGE_MALFORMED_DATA, "Invalid captured data length 140001"}},
        CaptureFault{"GET CAPTURE DATA/block: block-length:-1",
                     {RIDGE_MALFORMED_DATA, "Invalid captured data length 24018/24019"}},
        CaptureFault{"START CAPTURE: device-error:5:no power",
                     {RIDGE_DEVICE_FAILURE, "START CAPTURE: Failed (16) with error 5. no power"}},
        CaptureFault{
            "START CAPTURE: short-error:2",
            {RIDGE_DEVICE_FAILURE, "START CAPTURE: Failed (16/2). No error code available"}},
        CaptureFault{"START CAPTURE: wrong-type:1",
                     {RIDGE_UNEXPECTED_RESPONSE, "START CAPTURE: Invalid response type 1."}},
        CaptureFault{"START CAPTURE: wrong-code:0x31",
                     {RIDGE_NO_RESPONSE, "START CAPTURE: Invalid response code 49. Expected 16."}},
        CaptureFault{"GET CAPTURE DATA: device-error:77:dirt",
                     {RIDGE_DEVICE_FAILURE, "Error 77 retrieving capture data. dirt"}}));

} // namespace
} // namespace ridge::test
