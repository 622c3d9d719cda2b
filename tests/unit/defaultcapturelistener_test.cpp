#include "defaultcapturelistener.h"

#include "hextext.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace ridge {
namespace {

using test::hexText;
using testing::ElementsAre;
using testing::IsEmpty;

/// What the caller's callbacks were given; the user context points at one of these.
struct Calls {
    std::vector<std::string> errors;
    std::vector<ridgeCaptureResult> results;
    std::vector<std::uint32_t> events;
};

void recordError(std::int32_t code, const char* message, void* userContext) {
    static_cast<Calls*>(userContext)->errors.push_back(std::to_string(code) + " " + message);
}

void recordResult(const ridgeCaptureResult* result, void* userContext) {
    static_cast<Calls*>(userContext)->results.push_back(*result);
}

void recordEvent(void* userContext, std::uint32_t elapsedMilliseconds) {
    static_cast<Calls*>(userContext)->events.push_back(elapsedMilliseconds);
}

class DefaultCaptureListenerTest : public testing::Test {
protected:
    const std::vector<std::uint8_t> image{1, 2, 3, 4, 5, 6};
    const std::vector<std::uint8_t> trailer{0xA0, 0xA1};
    Calls calls;
    DefaultCaptureListener listener{{recordError, recordResult, recordEvent}, &calls};
    DefaultCaptureListener withoutEvents{{recordError, recordResult, nullptr}, &calls};
};

TEST_F(DefaultCaptureListenerTest, OnError_PassesCodeTextAndUserContext) {
    listener.onError(7, "Capture timeout");
    EXPECT_THAT(calls.errors, ElementsAre("7 Capture timeout"));
    EXPECT_THAT(calls.results, IsEmpty());
    EXPECT_THAT(calls.events, IsEmpty());
}

TEST_F(DefaultCaptureListenerTest, OnError_WithoutText_PassesAnEmptyText) {
    listener.onError(4, "");
    EXPECT_THAT(calls.errors, ElementsAre("4 "));
}

TEST_F(DefaultCaptureListenerTest, IsEventEnabled_TellsWhetherThereIsAnEventCallback) {
    EXPECT_TRUE(listener.isEventEnabled());
    EXPECT_FALSE(withoutEvents.isEventEnabled());
}

TEST_F(DefaultCaptureListenerTest, OnCaptureEvent_PassesUserContextAndElapsedTime) {
    listener.onCaptureEvent(0);
    listener.onCaptureEvent(0xFFFFFFFF);
    EXPECT_THAT(calls.events, ElementsAre(0U, 0xFFFFFFFFU));
}

TEST_F(DefaultCaptureListenerTest, OnCaptureEvent_WithoutEventCallback_DoesNothing) {
    withoutEvents.onCaptureEvent(5);
    EXPECT_THAT(calls.events, IsEmpty());
    EXPECT_THAT(calls.errors, IsEmpty());
    EXPECT_THAT(calls.results, IsEmpty());
}

TEST_F(DefaultCaptureListenerTest, OnCaptureComplete_FillsTheRecordWithTheBytesInPlace) {
    listener.onCaptureComplete(true, true, true, 2, 3, image, 0x5A, trailer);
    ASSERT_EQ(calls.results.size(), 1U);
    const ridgeCaptureResult& result = calls.results[0];
    EXPECT_EQ(result.width, 2U);
    EXPECT_EQ(result.height, 3U);
    EXPECT_EQ(result.image, image.data());
    EXPECT_EQ(result.imageSize, 6U);
    EXPECT_EQ(result.extraValue, 0x5A);
    EXPECT_EQ(result.trailerSize, 2U);
    EXPECT_EQ(result.trailer, trailer.data());
    EXPECT_EQ(result.flagA, 1);
    EXPECT_EQ(result.flagB, 1);
    EXPECT_EQ(result.flagC, 1);
}

TEST_F(DefaultCaptureListenerTest, OnCaptureComplete_PassesTheLargestSizesUnchanged) {
    const std::vector<std::uint8_t> largeImage(139981, 7);
    const std::vector<std::uint8_t> largeTrailer(65535, 8);
    listener.onCaptureComplete(false, false, false, 65535, 65534, largeImage, 255, largeTrailer);
    ASSERT_EQ(calls.results.size(), 1U);
    EXPECT_EQ(calls.results[0].width, 65535U);
    EXPECT_EQ(calls.results[0].height, 65534U);
    EXPECT_EQ(calls.results[0].imageSize, 139981U);
    EXPECT_EQ(calls.results[0].extraValue, 255);
    EXPECT_EQ(calls.results[0].trailerSize, 65535U);
}

TEST_F(DefaultCaptureListenerTest, OnCaptureComplete_WithoutImage_LeavesWidthAndHeightZero) {
    listener.onCaptureComplete(true, false, false, 300, 400, {}, 9, trailer);
    ASSERT_EQ(calls.results.size(), 1U);
    const ridgeCaptureResult& result = calls.results[0];
    EXPECT_EQ(result.width, 0U);
    EXPECT_EQ(result.height, 0U);
    EXPECT_EQ(result.image, nullptr);
    EXPECT_EQ(result.imageSize, 0U);
    EXPECT_EQ(result.extraValue, 9);
    EXPECT_EQ(result.trailerSize, 2U);
    EXPECT_EQ(result.trailer, trailer.data());
    EXPECT_EQ(result.flagA, 1);
}

TEST_F(DefaultCaptureListenerTest, OnCaptureComplete_WithoutTrailer_LeavesTrailerNull) {
    listener.onCaptureComplete(false, false, false, 2, 3, image, 0, {});
    ASSERT_EQ(calls.results.size(), 1U);
    EXPECT_EQ(calls.results[0].trailerSize, 0U);
    EXPECT_EQ(calls.results[0].trailer, nullptr);
    EXPECT_EQ(calls.results[0].image, image.data());
}

/// The three flags as given and as reported, in the order A, B, C.
struct FlagCase {
    std::vector<bool> given;
    std::string reported;
};

class DefaultCaptureListenerFlagsTest : public DefaultCaptureListenerTest,
                                        public testing::WithParamInterface<FlagCase> {};

TEST_P(DefaultCaptureListenerFlagsTest, FlagCCountsOnlyTogetherWithFlagB) {
    const std::vector<bool>& given = GetParam().given;
    listener.onCaptureComplete(given[0], given[1], given[2], 2, 3, image, 0, {});
    ASSERT_EQ(calls.results.size(), 1U);
    const ridgeCaptureResult& result = calls.results[0];
    EXPECT_EQ(hexText(std::vector<std::uint8_t>{result.flagA, result.flagB, result.flagC}),
              GetParam().reported);
}

INSTANTIATE_TEST_SUITE_P(AllFlags, DefaultCaptureListenerFlagsTest,
                         testing::Values(FlagCase{{false, false, false}, "00 00 00"},
                                         FlagCase{{true, false, false}, "01 00 00"},
                                         FlagCase{{false, true, false}, "00 01 00"},
                                         FlagCase{{true, true, false}, "01 01 00"},
                                         FlagCase{{false, false, true}, "00 00 00"},
                                         FlagCase{{true, false, true}, "01 00 00"},
                                         FlagCase{{false, true, true}, "00 01 01"},
                                         FlagCase{{true, true, true}, "01 01 01"}));

TEST(DefaultCaptureListener, KeepsACopyOfTheCallbackRecord) {
    Calls calls;
    ridgeCaptureCallbacks callbacks{recordError, recordResult, recordEvent};
    DefaultCaptureListener listener(callbacks, &calls);
    callbacks = {};
    listener.onError(9, "text");
    listener.onCaptureComplete(false, false, false, 0, 0, {}, 0, {});
    listener.onCaptureEvent(3);
    EXPECT_THAT(calls.errors, ElementsAre("9 text"));
    EXPECT_EQ(calls.results.size(), 1U);
    EXPECT_THAT(calls.events, ElementsAre(3U));
}

TEST(DefaultCaptureListener, PassesANullUserContextOn) {
    static void* given = nullptr;
    given = &given;
    const ridgeCaptureCallbacks callbacks{
        [](std::int32_t, const char*, void* userContext) { given = userContext; }, recordResult,
        nullptr};
    DefaultCaptureListener(callbacks, nullptr).onError(4, "text");
    EXPECT_EQ(given, nullptr);
}

} // namespace
} // namespace ridge
