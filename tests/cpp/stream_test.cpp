#include "hostedscanner.h"

#include <atomic>
#include <stdexcept>
#include <thread>

namespace ridge::test {
namespace {

class StreamOfImages : public HostedScanner {};

TEST_F(StreamOfImages, BringsThemUntilAStopIsRequestedAndNoneAfterwards) {
    connect();
    const StopSource stop;
    int images = 0;
    scanner->stream(
        [&](const Image& image) {
            EXPECT_EQ(image.pixels.size(), 30000U);
            if (++images == 3) {
                stop.requestStop();
            }
        },
        stop.token());
    EXPECT_EQ(images, 3);
    expectUsable();
}

TEST_F(StreamOfImages, StopRequestedByAnotherThread_EndsIt) {
    connect();
    const StopSource stop;
    std::promise<void> shown;
    std::thread other([&] {
        std::future<void> isShown = shown.get_future();
        resultOf(isShown);
        stop.requestStop();
    });
    int images = 0;
    scanner->stream(
        [&](const Image&) {
            if (++images == 1) {
                shown.set_value();
            }
        },
        stop.token());
    other.join();
    expectUsable();
}

TEST_F(StreamOfImages, StandardsStopToken_EndsIt) {
    connect();
    std::promise<void> shown;
    std::future<void> isShown = shown.get_future();
    std::jthread streaming([&](const std::stop_token& stop) {
        int images = 0;
        scanner->stream(
            [&](const Image&) {
                if (++images == 1) {
                    shown.set_value();
                }
            },
            stop);
    });
    resultOf(isShown);
    streaming.request_stop();
    streaming.join();
    expectUsable();
}

TEST_F(StreamOfImages, WithFuture_IsEndedByStopAndReadyThen) {
    connect();
    std::promise<void> shown;
    std::future<void> isShown = shown.get_future();
    int images = 0;
    std::future<void> end = scanner->streamAsync([&](const Image&) {
        if (++images == 2) {
            shown.set_value();
        }
    });
    resultOf(isShown);
    EXPECT_FALSE(isReady(end));
    scanner->stop();
    EXPECT_TRUE(isReady(end));
    EXPECT_NO_THROW(end.get());
    expectUsable();
}

TEST_F(StreamOfImages, Failure_EndsItWithItsText) {
    connect({true, 0, {"GET STREAM DATA#3: device-error:77:broken sensor"}});
    const StopSource never;
    const Failure failure = failureOf([&] { scanner->stream([](const Image&) {}, never.token()); });
    EXPECT_EQ(failure,
              (Failure{Status::deviceFailure, "Error 77 retrieving stream data. broken sensor"}));
    expectUsable();
}

TEST_F(StreamOfImages, OneThatMakesNoSense_IsLeftOutAndReported) {
    connect({true, 0, {"GET STREAM DATA/block#2: short-block:17"}});
    const StopSource stop;
    int images = 0;
    std::vector<Failure> broken;
    StreamParameters parameters;
    parameters.block.emplace().fill(1);
    parameters.onBrokenImage = [&](const Error& error) {
        broken.push_back({error.status(), error.what()});
        EXPECT_EQ(images, 1);
    };
    scanner->stream(
        [&](const Image& image) {
            EXPECT_EQ(image.pixels.size(), 30000U);
            if (++images == 3) {
                stop.requestStop();
            }
        },
        stop.token(), parameters);
    EXPECT_EQ(broken, (std::vector<Failure>{{Status::malformedData, "Invalid capture data"}}));
}

TEST_F(StreamOfImages, OneThatMakesNoSense_IsLeftOutWhenNobodyWantsToKnow) {
    connect({true, 0, {"GET STREAM DATA/block#1: short-block:17"}});
    const StopSource stop;
    int images = 0;
    scanner->stream(
        [&](const Image& image) {
            EXPECT_EQ(image.pixels.size(), 30000U);
            ++images;
            stop.requestStop();
        },
        stop.token());
    EXPECT_EQ(images, 1);
}

TEST_F(StreamOfImages, CallbackThatThrows_EndsItAndIsThrown) {
    connect();
    int images = 0;
    const auto refuse = [&](const Image&) {
        ++images;
        throw std::out_of_range("no more");
    };
    const StopSource never;
    EXPECT_THROW(scanner->stream(refuse, never.token()), std::out_of_range);
    EXPECT_EQ(images, 1) << "it is not called again";
    expectUsable();
}

TEST_F(StreamOfImages, WithFutureAndACallbackThatThrows_IsStoppedByTheNextStart) {
    connect();
    int images = 0;
    std::future<void> end = scanner->streamAsync([&](const Image&) {
        ++images;
        throw std::out_of_range("no more");
    });
    EXPECT_THROW(resultOf(end), std::out_of_range);
    expectUsable();
    EXPECT_EQ(images, 1) << "it is not called again";
}

TEST_F(StreamOfImages, CallbackForBrokenImagesThatThrows_EndsItAndIsThrown) {
    connect({true, 0, {"GET STREAM DATA/block: short-block:17"}});
    StreamParameters parameters;
    parameters.onBrokenImage = [](const Error&) { throw std::out_of_range("no more"); };
    const StopSource never;
    EXPECT_THROW(scanner->stream([](const Image&) {}, never.token(), parameters),
                 std::out_of_range);
    expectUsable();
}

TEST_F(StreamOfImages, EmptyFunction_IsThrownAsSuch) {
    connect();
    const StopSource never;
    EXPECT_THROW(scanner->stream(nullptr, never.token()), std::bad_function_call);
    expectUsable();
}

TEST_F(StreamOfImages, OfTwoScanners_EndWithTheSameSource) {
    connect();
    const Attachment secondAttachment;
    Scanner second;
    second.connect(secondAttachment.portName());
    const StopSource stop;
    std::atomic<int> images{0};
    const auto countToTen = [&](const Image&) {
        if (++images == 10) {
            stop.requestStop();
        }
    };
    std::thread other([&] { second.stream(countToTen, stop.token()); });
    scanner->stream(countToTen, stop.token());
    other.join();
    EXPECT_GE(images, 10);
    expectUsable();
    EXPECT_EQ(second.capture().pixels.size(), 120000U);
}

} // namespace
} // namespace ridge::test
