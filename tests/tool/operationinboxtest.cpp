#include "operationinbox.h"

#include <gtest/gtest.h>

#include <thread>

namespace ridge::tool {

TEST(OperationInbox, Messages_ComeInOrderOfArrival) {
    OperationInbox inbox;
    const ridgeCaptureCallbacks callbacks = OperationInbox::callbacks();
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

TEST(OperationInbox, Image_IsCopied) {
    OperationInbox inbox;
    {
        std::vector<std::uint8_t> bytes{1, 2, 3, 4, 5, 6};
        std::vector<std::uint8_t> trailer{7, 8};
        const ridgeCaptureResult result{3, 2, bytes.data(), 6, 9, 2, trailer.data(), 1, 1, 0};
        OperationInbox::callbacks().captureCallback(&result, &inbox);
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

TEST(OperationInbox, SigningRequest_IsCopied) {
    OperationInbox inbox;
    {
        std::vector<std::uint8_t> bytes{1, 2, 3};
        OperationInbox::csrCallback()(bytes.data(), 3, &inbox);
        bytes.assign(3, 0);
    }
    const auto message = inbox.poll();
    ASSERT_TRUE(message);
    EXPECT_EQ(std::get<SigningRequest>(*message).bytes, (std::vector<std::uint8_t>{1, 2, 3}));
}

TEST(OperationInbox, ResultWithoutImageAndTrailer_IsEmpty) {
    OperationInbox inbox;
    const ridgeCaptureResult result{};
    OperationInbox::callbacks().captureCallback(&result, &inbox);
    const auto message = inbox.poll();
    ASSERT_TRUE(message);
    EXPECT_TRUE(std::get<CapturedImage>(*message).bytes.empty());
    EXPECT_TRUE(std::get<CapturedImage>(*message).trailer.empty());
}

TEST(OperationInbox, MessageFromAnotherThread_WakesTheWaitingOne) {
    OperationInbox inbox;
    std::thread sender([&inbox] { inbox.post(InterruptionWish{}); });
    const auto message = inbox.wait(std::chrono::hours(1));
    sender.join();
    ASSERT_TRUE(message);
    EXPECT_TRUE(std::holds_alternative<InterruptionWish>(*message));
}

} // namespace ridge::tool
