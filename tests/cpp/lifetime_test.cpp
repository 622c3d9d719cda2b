// What a scanner owns, and what becomes of it when the scanner is moved or destroyed.

#include "hostedscanner.h"

#include <memory>
#include <utility>

namespace ridge::test {
namespace {

/// Goes into a callback to show when that is destroyed.
using Token = std::shared_ptr<int>;

class Lifetime : public HostedScanner {
protected:
    /// A stream that has brought an image and goes on.
    std::future<void> startStream(Token token = nullptr) {
        auto shown = std::make_shared<std::promise<void>>();
        std::future<void> isShown = shown->get_future();
        std::future<void> end = scanner->streamAsync(
            [shown, images = 0, kept = std::move(token)](const Image&) mutable {
                if (++images == 1) {
                    shown->set_value();
                }
            });
        resultOf(isShown);
        return end;
    }
};

TEST_F(Lifetime, ScannerDestroyedWhileItStreams_EndsTheStream) {
    connect();
    std::future<void> end = startStream();
    scanner.reset();
    EXPECT_TRUE(isReady(end));
    EXPECT_NO_THROW(end.get());
}

TEST_F(Lifetime, ScannerDestroyedDuringAnAssistedCapture_StopsIt) {
    connect();
    std::future<CapturedImage> image =
        scanner->captureAssistedAsync([](const Image&) { return Verdict::open; });
    scanner.reset();
    EXPECT_TRUE(isReady(image));
    EXPECT_EQ(failureOf([&] { image.get(); }), wasStopped);
}

TEST_F(Lifetime, ScannerDisconnectedWhileItStreams_EndsTheStream) {
    connect();
    std::future<void> end = startStream();
    scanner->disconnect();
    EXPECT_TRUE(isReady(end));
    EXPECT_NO_THROW(end.get());
    scanner->connect(attachment->portName());
    expectUsable();
}

TEST_F(Lifetime, StreamsEndedAtAnyMoment_LeaveAScannerThatWorks) {
    connect();
    for (int round = 0; round < 100; ++round) {
        std::future<void> end = scanner->streamAsync([](const Image&) {});
        scanner->stop();
        EXPECT_NO_THROW(resultOf(end));
    }
    for (int round = 0; round < 20; ++round) {
        std::future<void> end = scanner->streamAsync([](const Image&) {});
        scanner->disconnect();
        EXPECT_NO_THROW(resultOf(end));
        scanner->connect(attachment->portName());
    }
    expectUsable();
}

TEST_F(Lifetime, FunctionsOfABlockingCall_AreGoneWhenItReturns) {
    connect({true, 1, {}});
    const Token token = std::make_shared<int>();
    scanner->capture({}, {}, [token](std::chrono::milliseconds) {});
    EXPECT_EQ(token.use_count(), 1);
    const StopSource stop;
    scanner->stream([token, stop](const Image&) { stop.requestStop(); }, stop.token());
    EXPECT_EQ(token.use_count(), 1);
}

TEST_F(Lifetime, FunctionsOfARunningOperation_AreOwnedUntilItIsStopped) {
    connect();
    const Token token = std::make_shared<int>();
    std::future<void> end = startStream(token);
    EXPECT_EQ(token.use_count(), 2);
    scanner->stop();
    EXPECT_EQ(token.use_count(), 1);
}

TEST_F(Lifetime, FunctionsOfAnOperationThatHasEnded_GoWithTheNextStart) {
    connect();
    const Token token = std::make_shared<int>();
    std::future<CapturedImage> first =
        scanner->captureAssistedAsync([token](const Image&) { return Verdict::accept; });
    resultOf(first);
    EXPECT_EQ(token.use_count(), 2);
    std::future<CapturedImage> second = scanner->captureAsync();
    EXPECT_EQ(token.use_count(), 1);
    resultOf(second);
}

TEST_F(Lifetime, FunctionsOfAStartThatIsRefused_AreGone) {
    connect();
    std::future<void> end = startStream();
    const Token token = std::make_shared<int>();
    EXPECT_EQ(failureOf([&] { static_cast<void>(scanner->streamAsync([token](const Image&) {})); }),
              (Failure{Status::captureActive, "Capture is active."}));
    EXPECT_EQ(token.use_count(), 1);
    EXPECT_FALSE(isReady(end)) << "what runs goes on";
}

TEST_F(Lifetime, MovedWhileItStreams_TheStreamBelongsToTheNewOne) {
    connect();
    std::future<void> end = startStream();
    Scanner moved = std::move(*scanner);
    EXPECT_FALSE(isReady(end));
    EXPECT_TRUE(moved.isConnected());
    moved.stop();
    EXPECT_TRUE(isReady(end));
    EXPECT_EQ(moved.capture().pixels.size(), 120000U);
}

TEST_F(Lifetime, AssignedToWhileItStreams_EndsItsOwnStreamAndTakesTheOther) {
    connect();
    std::future<void> end = startStream();
    const Attachment secondAttachment;
    Scanner second;
    second.connect(secondAttachment.portName());
    *scanner = std::move(second);
    EXPECT_TRUE(isReady(end));
    expectUsable();
}

TEST_F(Lifetime, AskedByItsCallbackWhileItIsAssignedTo_AnswersForWhatItWas) {
    connect();
    Scanner& asked = *scanner;
    std::promise<void> shown;
    std::future<void> isShown = shown.get_future();
    std::promise<void> assigning;
    std::future<void> isAssigning = assigning.get_future();
    int refusals = 0;
    std::future<void> end = asked.streamAsync([&, images = 0](const Image&) mutable {
        if (++images > 1) {
            return;
        }
        shown.set_value();
        resultOf(isAssigning);
        for (int question = 0; question < 100000; ++question) {
            refusals += asked.isConnected() ? 0 : 1;
        }
    });
    resultOf(isShown);
    assigning.set_value();
    asked = Scanner();
    EXPECT_NO_THROW(resultOf(end));
    EXPECT_EQ(refusals, 0);
    EXPECT_FALSE(asked.isConnected());
}

TEST_F(Lifetime, FutureThatIsDropped_LeavesTheOperationRunning) {
    connect();
    startStream();
    EXPECT_EQ(failureOf([&] { scanner->setSettings({}); }),
              (Failure{Status::captureActive, "Capture is active."}));
    scanner->stop();
    expectUsable();
}

TEST_F(Lifetime, MovedFrom_ThrowsUntilItIsAssignedTo) {
    connect();
    Scanner moved = std::move(*scanner);
    const Failure movedFrom{std::nullopt, "The scanner was moved from."};
    EXPECT_EQ(failureOf([this] { scanner->capture(); }), movedFrom);
    EXPECT_EQ(failureOf([this] { static_cast<void>(scanner->createSigningRequest({})); }),
              movedFrom);
    EXPECT_EQ(failureOf([this] { scanner->stop(); }), movedFrom);
    EXPECT_FALSE(scanner->isConnected());
    EXPECT_FALSE(scanner->giveVerdict(Verdict::accept));
    *scanner = std::move(moved);
    expectUsable();
}

} // namespace
} // namespace ridge::test
