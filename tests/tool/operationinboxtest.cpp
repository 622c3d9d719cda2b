#include "captureinbox.h"

#include <gtest/gtest.h>

#include <thread>

namespace ridge::tool {

TEST(CaptureInbox, Messages_ComeInOrderOfArrival) {
    CaptureInbox inbox;
    const ridgeCaptureCallbacks callbacks = CaptureInbox::callbacks();
    callbacks.eventCallback(&inbox, 1500);
    callbacks.errorCallback(RIDGE_TIMEOUT, "Capture timeout", &inbox);

    const auto first = inbox.poll();
    ASSERT_TRUE(first);
    EXPECT_EQ(std::get<FingerEvent>(*first).elapsedMilliseconds, 1500U);
    const auto second = inbox.poll();
    ASSERT_TRUE(second);
    EXPECT_EQ(std::get<OperationFailure>(*second).status, RIDGE_TIMEOUT);
    EXPECT_EQ(std::get<OperationFailure>(*second).text, "Capture timeout");
    EXPECT_FALSE(inbox.poll());
}

TEST(CaptureInbox, Image_IsCopied) {
    CaptureInbox inbox;
    {
        std::vector<std::uint8_t> bytes{1, 2, 3, 4, 5, 6};
        std::vector<std::uint8_t> trailer{7, 8};
        const ridgeCaptureResult result{3, 2, bytes.data(), 6, 9, 2, trailer.data(), 1, 1, 0};
        CaptureInbox::callbacks().captureCallback(&result, &inbox);
        bytes.assign(6, 0);
        trailer.assign(2, 0);
    }
    const auto message = inbox.poll();
    ASSERT_TRUE(message);
    const auto& image = std::get<CapturedImage>(*message);
    EXPECT_EQ(image.width, 3U);
    EXPECT_EQ(image.height, 2U);
    EXPECT_EQ(image.bytes, (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(image.extraValue, 9);
    EXPECT_EQ(image.trailer, (std::vector<std::uint8_t>{7, 8}));
    EXPECT_TRUE(image.flagA);
    EXPECT_TRUE(image.flagB);
    EXPECT_FALSE(image.flagC);
}

TEST(CaptureInbox, ResultWithoutImageAndTrailer_IsEmpty) {
    CaptureInbox inbox;
    const ridgeCaptureResult result{};
    CaptureInbox::callbacks().captureCallback(&result, &inbox);
    const auto message = inbox.poll();
    ASSERT_TRUE(message);
    EXPECT_TRUE(std::get<CapturedImage>(*message).bytes.empty());
    EXPECT_TRUE(std::get<CapturedImage>(*message).trailer.empty());
}

TEST(CaptureInbox, MessageFromAnotherThread_WakesTheWaitingOne) {
    CaptureInbox inbox;
    std::thread sender([&inbox] { inbox.post(InterruptionWish{}); });
    const auto message = inbox.wait(std::chrono::hours(1));
    sender.join();
    ASSERT_TRUE(message);
    EXPECT_TRUE(std::holds_alternative<InterruptionWish>(*message));
}

} // namespace ridge::tool
