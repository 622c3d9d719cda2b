// What the library still reports between the request of a stop and the stop: a moment that no host
// can hold on to.

#include "ridge-sdk.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

namespace ridge::test {
namespace {

class OperationToBeStopped : public testing::Test {
protected:
    void reportImage(detail::Operation& operation) {
        const ridgeCaptureResult result{};
        detail::Operation::onCaptureCallback(&result, &operation);
    }

    void reportEvent(detail::Operation& operation) {
        detail::Operation::onEventCallback(&operation, 1);
    }

    void reportError(detail::Operation& operation, std::int32_t status, const char* text) {
        detail::Operation::onErrorCallback(status, text, &operation);
    }

    detail::CallbackSide side{nullptr};
    std::shared_ptr<detail::Signal> signal = std::make_shared<detail::Signal>();
    int calls = 0;
};

TEST_F(OperationToBeStopped, Stream_DeliversNoFurtherImage) {
    detail::Stream stream(
        side, signal, [this](const Image&) { ++calls; }, [this](const Error&) { ++calls; });
    reportImage(stream);
    EXPECT_EQ(calls, 1);
    signal->requestStop();
    reportImage(stream);
    reportError(stream, RIDGE_MALFORMED_DATA, "Invalid capture data");
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(stream.isDone());
}

TEST_F(OperationToBeStopped, Capture_PassesNoFurtherEventOnButTakesTheImage) {
    detail::Capture capture(side, signal, [this](std::chrono::milliseconds) { ++calls; });
    std::future<CapturedImage> image = capture.future();
    reportEvent(capture);
    EXPECT_EQ(calls, 1);
    signal->requestStop();
    reportEvent(capture);
    EXPECT_EQ(calls, 1);
    reportImage(capture);
    EXPECT_TRUE(capture.isDone());
    capture.onStopped();
    EXPECT_NO_THROW(image.get());
}

TEST_F(OperationToBeStopped, AssistedCapture_ShowsNoFurtherImage) {
    detail::AssistedCapture capture(side, signal, [this](const Image&) {
        ++calls;
        return Verdict::open;
    });
    reportImage(capture);
    EXPECT_EQ(calls, 1);
    signal->requestStop();
    reportImage(capture);
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(capture.isDone());
}

TEST_F(OperationToBeStopped, AfterACallbackThatThrew_NoneIsCalled) {
    detail::Stream stream(
        side, signal,
        [this](const Image&) {
            ++calls;
            throw std::out_of_range("no more");
        },
        nullptr);
    std::future<void> end = stream.future();
    reportImage(stream);
    reportImage(stream);
    EXPECT_EQ(calls, 1);
    reportError(stream, RIDGE_SERIAL_PORT_ERROR, "gone");
    stream.onStopped();
    EXPECT_THROW(end.get(), std::out_of_range) << "the first end counts";
}

} // namespace
} // namespace ridge::test
