#include "host.h"
#include "simulatorprocess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>

namespace ridge::test {
namespace {

/// A host that is connected to a scanner of its own.
class Capture : public testing::Test {
protected:
    void connect(std::vector<std::string> options) {
        scanner = std::make_unique<SimulatorProcess>(options);
        host = std::make_unique<Host>();
        ASSERT_EQ(host->connect(scanner->portName()), RIDGE_SUCCESS) << host->lastError();
    }

    std::unique_ptr<SimulatorProcess> scanner;
    std::unique_ptr<Host> host;
};

double meanOf(const std::vector<std::uint8_t>& image) {
    return std::accumulate(image.begin(), image.end(), 0.0) / static_cast<double>(image.size());
}

TEST_F(Capture, DeliversOneImageOfTheAnnouncedSize) {
    connect({"--baud", "0"});
    ASSERT_EQ(host->startCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    const ReceivedImage image = host->waitForImages(1)[0];
    EXPECT_EQ(image.width, 300U);
    EXPECT_EQ(image.height, 400U);
    ASSERT_EQ(image.image.size(), 120000U);
    EXPECT_GT(image.extraValue, 0) << "the scanner adds a figure of quality";
    // Dark ridges on white paper: neither empty nor full.
    EXPECT_GT(meanOf(image.image), 100.0);
    EXPECT_LT(meanOf(image.image), 240.0);
    ridgeStopCapture(host->context());
    EXPECT_EQ(host->images().size(), 1U);
    EXPECT_TRUE(host->failures().empty());
}

TEST_F(Capture, OverAPacedLine_DeliversTheSameImageAsWithoutDelay) {
    connect({"--baud", "0", "--seed", "5"});
    ASSERT_EQ(host->startCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    const ReceivedImage quick = host->waitForImages(1)[0];
    connect({"--seed", "5"});
    ASSERT_EQ(host->startCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    const ReceivedImage paced = host->waitForImages(1)[0];
    EXPECT_EQ(quick.image, paced.image);
}

TEST_F(Capture, AfterACapture_TheNextOneDeliversAnotherFinger) {
    connect({"--baud", "0"});
    ASSERT_EQ(host->startCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    host->waitForImages(1);
    ridgeStopCapture(host->context());
    ASSERT_EQ(host->startCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    const std::vector<ReceivedImage> images = host->waitForImages(2);
    EXPECT_NE(images[0].image, images[1].image);
}

TEST_F(Capture, WithEvents_TheHostHearsOfThemBeforeTheImage) {
    connect({"--baud", "0", "--early-lifts", "1"});
    ASSERT_EQ(host->startCapture(anyFinger, true), RIDGE_SUCCESS) << host->lastError();
    const std::vector<std::uint32_t> events = host->waitForEvents(2);
    EXPECT_TRUE(std::is_sorted(events.begin(), events.end()));
    host->waitForImages(1);
    EXPECT_TRUE(host->failures().empty());
}

TEST_F(Capture, NoFinger_ReportsTheScannersTimeout) {
    connect({"--baud", "0", "--finger-delay", "never"});
    ASSERT_EQ(host->startCapture({1, 100, 1}), RIDGE_SUCCESS) << host->lastError();
    EXPECT_EQ(host->waitForFailures(1)[0], (ReceivedFailure{RIDGE_TIMEOUT, "Capture timeout"}));
    ridgeStopCapture(host->context());
    EXPECT_TRUE(host->images().empty());
    EXPECT_EQ(ridgeIsConnected(host->context()), 1) << "the session goes on";
}

TEST_F(Capture, ParametersAndBlock_ReachTheScanner) {
    connect({"--baud", "0", "--finger-delay", "never"});
    std::array<std::uint8_t, 256> block{};
    std::iota(block.begin(), block.end(), std::uint8_t{0xA0});
    ASSERT_EQ(host->startCapture({10, 30000, 0x101}, true, block.data()), RIDGE_SUCCESS)
        << host->lastError();
    EXPECT_EQ(scanner->waitForReport("START CAPTURE"),
              "START CAPTURE: mode 10, time-out 30000 ms, option 265, events, block of 256 bytes "
              "(a0 a1 a2 a3 ...)");
    ridgeStopCapture(host->context());
    EXPECT_EQ(scanner->waitForReport("STOP CAPTURE"), "STOP CAPTURE");
    EXPECT_TRUE(host->failures().empty()) << "a stop calls nothing";
}

TEST_F(Capture, SecondStartWhileOneRuns_IsRefusedAndTheFirstGoesOn) {
    connect({"--baud", "0", "--finger-delay", "300"});
    ASSERT_EQ(host->startCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    EXPECT_EQ(host->startCapture(anyFinger), RIDGE_CAPTURE_ACTIVE);
    EXPECT_EQ(host->lastError(), "Capture is active.");
    EXPECT_EQ(host->startStream(), RIDGE_CAPTURE_ACTIVE);
    const ridgeDeviceSettings settings{0, 0};
    EXPECT_EQ(ridgeSettingsSet(host->context(), &settings), RIDGE_CAPTURE_ACTIVE);
    host->waitForImages(1);
}

TEST_F(Capture, StoppedInTheMiddleOfABlock_LeavesASessionThatWorks) {
    // Paced, so that the block is on the line for ten seconds.
    connect({"--finger-delay", "0", "--verbose"});
    ASSERT_EQ(host->startCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    scanner->waitForReport("GET CAPTURE DATA: 10000 bytes");
    ridgeStopCapture(host->context());
    EXPECT_TRUE(host->images().empty());
    EXPECT_TRUE(host->failures().empty());
    const ridgeDeviceSettings settings{1, 0};
    EXPECT_EQ(ridgeSettingsSet(host->context(), &settings), RIDGE_SUCCESS) << host->lastError();
}

TEST_F(Capture, StoppedAtOnce_LeavesASessionThatWorks) {
    connect({"--baud", "0"});
    for (int round = 0; round < 20; ++round) {
        ASSERT_EQ(host->startCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
        ridgeStopCapture(host->context());
    }
    ASSERT_EQ(host->startCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    host->waitForImages(1);
    EXPECT_TRUE(host->failures().empty());
}

TEST_F(Capture, DisconnectWhileItRuns_StopsItAndTheScannerCanBeUsedAgain) {
    connect({"--baud", "0", "--finger-delay", "never"});
    ASSERT_EQ(host->startCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    ridgeDisconnect(host->context());
    EXPECT_TRUE(host->failures().empty());
    EXPECT_EQ(host->connect(scanner->portName()), RIDGE_SUCCESS) << host->lastError();
}

TEST_F(Capture, ContextFreedWhileItRuns_EndsQuietly) {
    connect({"--baud", "0", "--finger-delay", "never"});
    ASSERT_EQ(host->startCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    host.reset();
    scanner->waitForReport("STOP CAPTURE");
}

TEST_F(Capture, Stream_BringsImagesUntilItIsStopped) {
    connect({"--baud", "0"});
    std::array<std::uint8_t, 256> block{};
    ASSERT_EQ(host->startStream(block.data()), RIDGE_SUCCESS) << host->lastError();
    const std::vector<ReceivedImage> images = host->waitForImages(4);
    ridgeStopCapture(host->context());
    for (const ReceivedImage& image : images) {
        EXPECT_EQ(image.image.size(), std::size_t{image.width} * image.height);
        EXPECT_EQ(image.extraValue, 0);
        EXPECT_TRUE(image.trailer.empty());
    }
    const std::size_t received = host->images().size();
    EXPECT_EQ(ridgeIsConnected(host->context()), 1);
    EXPECT_TRUE(host->failures().empty());
    ASSERT_EQ(host->startCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    host->waitForImages(received + 1);
    ridgeStopCapture(host->context());
    EXPECT_EQ(host->images().size(), received + 1) << "nothing of the stream comes after its stop";
}

TEST_F(Capture, HostAssisted_ShowsImagesUntilOneIsAcceptedAndThenTheCapture) {
    connect({"--baud", "0"});
    int shown = 0;
    host->judgeWith([&shown](const ReceivedImage& image) -> std::uint8_t {
        // Unmasked: paper is white, so the mean tells an image from noise.
        EXPECT_GT(meanOf(image.image), 150.0);
        ++shown;
        return shown <= 2 ? 0 : 1;
    });
    ASSERT_EQ(host->startHostAssistedCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    const std::vector<ReceivedImage> images = host->waitForImages(4);
    ridgeStopCapture(host->context());
    EXPECT_EQ(host->images().size(), 4U) << "three to judge, and the capture";
    EXPECT_EQ(images[3].image.size(), 120000U);
    EXPECT_GT(images[3].extraValue, 0) << "only the capture has it";
    EXPECT_EQ(images[0].extraValue, 0);
    EXPECT_TRUE(host->failures().empty());
    EXPECT_EQ(scanner->waitForReport("HOST ASSISTED CAPTURE RESULT"),
              "HOST ASSISTED CAPTURE RESULT: rejected");
    EXPECT_EQ(scanner->waitForReport("HOST ASSISTED CAPTURE RESULT"),
              "HOST ASSISTED CAPTURE RESULT: rejected");
    EXPECT_EQ(scanner->waitForReport("HOST ASSISTED CAPTURE RESULT"),
              "HOST ASSISTED CAPTURE RESULT: accepted");
}

TEST_F(Capture, HostAssistedWithALateVerdict_WaitsForItAndPings) {
    connect({"--baud", "0", "--verbose"});
    ASSERT_EQ(host->startHostAssistedCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    host->waitForImages(1);
    scanner->waitForReport("PING");
    ridgeHostAssistedCaptureSetResult(host->context(), 1);
    host->waitForImages(2);
    EXPECT_TRUE(host->failures().empty());
}

TEST_F(Capture, HostAssistedStoppedWhileAVerdictIsAwaited_EndsQuietly) {
    connect({"--baud", "0"});
    ASSERT_EQ(host->startHostAssistedCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    host->waitForImages(1);
    ridgeStopCapture(host->context());
    EXPECT_TRUE(host->failures().empty());
    ASSERT_EQ(host->startCapture(anyFinger), RIDGE_SUCCESS) << host->lastError();
    EXPECT_EQ(host->waitForImages(2)[1].image.size(), 120000U);
}

TEST_F(Capture, HostAssistedWithoutOption_IsRefusedByTheWorker) {
    connect({"--baud", "0"});
    ASSERT_EQ(host->startHostAssistedCapture({0, 0, 0}), RIDGE_SUCCESS);
    EXPECT_EQ(
        host->waitForFailures(1)[0],
        (ReceivedFailure{RIDGE_PROTOCOL_ERROR, "Failed to start host assisted capture (1)."}));
}

} // namespace
} // namespace ridge::test
