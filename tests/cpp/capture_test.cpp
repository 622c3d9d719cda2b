#include "hostedscanner.h"

#include <algorithm>
#include <stdexcept>
#include <thread>
#include <vector>

namespace ridge::test {
namespace {

class CaptureOfOneImage : public HostedScanner {};

CaptureParameters withTimeout(std::chrono::milliseconds timeout) {
    CaptureParameters parameters;
    parameters.timeout = timeout;
    return parameters;
}

TEST_F(CaptureOfOneImage, Blocking_ReturnsIt) {
    connect();
    const CapturedImage image = scanner->capture();
    EXPECT_EQ(image.width, 300U);
    EXPECT_EQ(image.height, 400U);
    EXPECT_EQ(image.pixels.size(), 120000U);
    EXPECT_GT(image.extraValue, 0);
}

TEST_F(CaptureOfOneImage, WithFuture_IsItsResult) {
    connect();
    std::future<CapturedImage> future = scanner->captureAsync();
    EXPECT_EQ(resultOf(future).pixels.size(), 120000U);
}

TEST_F(CaptureOfOneImage, AsSoonAsTheFutureIsReady_TheNextOneCanBeStarted) {
    connect();
    Bytes before;
    for (int round = 0; round < 10; ++round) {
        std::future<CapturedImage> future = scanner->captureAsync();
        const CapturedImage image = resultOf(future);
        EXPECT_NE(image.pixels, before) << "another finger each time";
        before = image.pixels;
    }
}

TEST_F(CaptureOfOneImage, AsSoonAsTheFutureIsReady_SettingsCanBeWritten) {
    connect();
    for (int round = 0; round < 10; ++round) {
        std::future<CapturedImage> future = scanner->captureAsync();
        resultOf(future);
        scanner->setSettings({});
    }
}

TEST_F(CaptureOfOneImage, WithBlock_IsAccepted) {
    connect();
    CaptureParameters parameters;
    parameters.block.emplace().fill(0xA0);
    EXPECT_EQ(scanner->capture(parameters).pixels.size(), 120000U);
}

TEST_F(CaptureOfOneImage, Events_ComeBeforeIt) {
    connect({true, 1, {}});
    std::vector<std::chrono::milliseconds> events;
    scanner->capture({}, {}, [&](std::chrono::milliseconds elapsed) { events.push_back(elapsed); });
    EXPECT_GE(events.size(), 2U);
    EXPECT_TRUE(std::is_sorted(events.begin(), events.end()));
}

TEST_F(CaptureOfOneImage, NoFinger_IsTheScannersTimeout) {
    connect({false, 0, {}});
    const Failure noFinger{Status::timeout, "Capture timeout"};
    const CaptureParameters parameters = withTimeout(std::chrono::milliseconds(100));
    EXPECT_EQ(failureOf([&] { scanner->capture(parameters); }), noFinger);
    std::future<CapturedImage> future = scanner->captureAsync(parameters);
    EXPECT_EQ(failureOf([&] { resultOf(future); }), noFinger);
}

TEST_F(CaptureOfOneImage, ParametersThatAreNotAllowed_AreRefused) {
    connect();
    CaptureParameters eleventhFinger;
    eleventhFinger.fingerPosition = 11;
    EXPECT_EQ(failureOf([&] { scanner->capture(eleventhFinger); }),
              (Failure{Status::invalidArgument, "Invalid finger position 11. Finger position must "
                                                "be between 0 and 10, inclusive."}));
    const auto failureWith = [&](std::chrono::milliseconds timeout) {
        return failureOf([&] { static_cast<void>(scanner->captureAsync(withTimeout(timeout))); });
    };
    EXPECT_EQ(failureWith(std::chrono::milliseconds(30001)),
              (Failure{Status::invalidArgument, "Invalid capture timeout 30001. Capture timeout "
                                                "cannot exceed 30000 milliseconds."}));
    const Failure tooLong{Status::invalidArgument, "Invalid capture timeout -1. Capture timeout "
                                                   "cannot exceed 30000 milliseconds."};
    EXPECT_EQ(failureWith(std::chrono::milliseconds(-5)), tooLong);
    EXPECT_EQ(failureWith(std::chrono::milliseconds(std::int64_t{1} << 32U)), tooLong);
}

TEST_F(CaptureOfOneImage, FailureOfTheScanner_IsThrownWithItsText) {
    connect({true, 0, {"START CAPTURE: device-error:77:broken sensor"}});
    EXPECT_EQ(failureOf([&] { scanner->capture(); }),
              (Failure{Status::deviceFailure,
                       "START CAPTURE: Failed (16) with error 77. broken sensor"}));
    expectUsable();
}

TEST_F(CaptureOfOneImage, ImageThatMakesNoSense_IsAFailure) {
    connect({true, 0, {"GET CAPTURE DATA/block: short-block:19"}});
    EXPECT_EQ(failureOf([&] { scanner->capture(); }),
              (Failure{Status::malformedData, "Invalid capture data"}));
    expectUsable();
}

TEST_F(CaptureOfOneImage, SecondStart_IsRefusedAndTheFirstGoesOn) {
    connect({true, 1, {}});
    std::promise<void> seen;
    std::shared_future<void> mayGoOn = seen.get_future().share();
    std::future<CapturedImage> first =
        scanner->captureAsync({}, [&](std::chrono::milliseconds) { mayGoOn.wait(); });
    const Failure active{Status::captureActive, "Capture is active."};
    EXPECT_EQ(failureOf([&] { scanner->capture(); }), active);
    EXPECT_EQ(failureOf([&] { static_cast<void>(scanner->streamAsync([](const Image&) {})); }),
              active);
    EXPECT_EQ(failureOf([&] { scanner->setSettings({}); }), active);
    EXPECT_EQ(failureOf([&] { scanner->clearKey(); }), busy);
    EXPECT_EQ(scanner->info().text2, attachment->serialNumber()) << "reading is not refused";
    seen.set_value();
    EXPECT_EQ(resultOf(first).pixels.size(), 120000U);
}

TEST_F(CaptureOfOneImage, EventCallbackThatThrows_EndsItAndIsThrown) {
    connect({true, 2, {}});
    int events = 0;
    const auto refuse = [&](std::chrono::milliseconds) {
        ++events;
        throw std::out_of_range("no more");
    };
    EXPECT_THROW(scanner->capture({}, {}, refuse), std::out_of_range);
    std::future<CapturedImage> future = scanner->captureAsync({}, refuse);
    EXPECT_THROW(resultOf(future), std::out_of_range);
    EXPECT_EQ(events, 2) << "it is not called again";
    expectUsable();
}

} // namespace
} // namespace ridge::test
