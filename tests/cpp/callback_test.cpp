// What a callback may do.

#include "hostedscanner.h"

#include <functional>
#include <stdexcept>
#include <thread>
#include <vector>

namespace ridge::test {
namespace {

class InsideACallback : public HostedScanner {
protected:
    /// Runs this inside the callback of a stream, once.
    void run(const std::function<void()>& inside) {
        connect();
        const StopSource stop;
        int calls = 0;
        scanner->stream(
            [&](const Image&) {
                ++calls;
                stop.requestStop();
                inside();
            },
            stop.token());
        EXPECT_EQ(calls, 1);
    }
};

TEST_F(InsideACallback, EveryUseOfItsOwnScanner_IsRefused) {
    run([this] {
        const auto ignore = [](const Image&) {};
        const auto accept = [](const Image&) { return Verdict::accept; };
        const StopSource stop;
        const std::vector<std::function<void()>> calls{
            [&] { scanner->connect("COM3"); },
            [&] { scanner->disconnect(); },
            [&] { static_cast<void>(scanner->info()); },
            [&] { static_cast<void>(scanner->settings()); },
            [&] { scanner->setSettings({}); },
            [&] { scanner->capture(); },
            [&] { static_cast<void>(scanner->captureAsync()); },
            [&] { scanner->captureAssisted(accept); },
            [&] { static_cast<void>(scanner->captureAssistedAsync(accept)); },
            [&] { scanner->stream(ignore, stop.token()); },
            [&] { static_cast<void>(scanner->streamAsync(ignore)); },
            [&] { scanner->stop(); },
            [&] { scanner->setKey({}); },
            [&] { scanner->clearKey(); },
            [&] { static_cast<void>(scanner->certificate()); },
            [&] { scanner->setCertificate({1}); },
            [&] { scanner->clearCertificate(); },
            [&] { static_cast<void>(scanner->createSigningRequest({})); },
            [&] { static_cast<void>(scanner->createSigningRequestAsync({})); }};
        for (std::size_t index = 0; index < calls.size(); ++index) {
            EXPECT_EQ(failureOf(calls[index]), ownScanner) << "call " << index;
        }
    });
    expectUsable();
}

TEST_F(InsideACallback, RefusalThatIsNotCaught_EndsTheOperation) {
    connect();
    const StopSource never;
    EXPECT_EQ(failureOf([&] {
                  scanner->stream([this](const Image&) { scanner->stop(); }, never.token());
              }),
              ownScanner);
    EXPECT_EQ(failureOf([&] {
                  scanner->captureAssisted([this](const Image&) {
                      scanner->disconnect();
                      return Verdict::accept;
                  });
              }),
              ownScanner);
    EXPECT_TRUE(scanner->isConnected());
    expectUsable();
}

TEST_F(InsideACallback, IsConnectedAndVerdict_MayBeUsed) {
    run([this] {
        EXPECT_TRUE(scanner->isConnected());
        EXPECT_FALSE(scanner->giveVerdict(Verdict::accept)) << "a stream awaits none";
    });
}

TEST_F(InsideACallback, AnotherScanner_CanBeUsedFromConnectToEnd) {
    run([] {
        const Attachment attachment;
        Scanner other;
        other.connect(attachment.portName());
        EXPECT_EQ(other.capture().pixels.size(), 120000U);
        other.disconnect();
    });
}

TEST_F(InsideACallback, OperationsOfTheScannerFromOtherThreads_AreNotMistakenForItsOwn) {
    connect();
    std::promise<void> shown;
    std::future<void> isShown = shown.get_future();
    std::promise<void> read;
    std::future<void> isRead = read.get_future();
    int images = 0;
    std::future<void> end = scanner->streamAsync([&](const Image&) {
        if (++images == 1) {
            shown.set_value();
            resultOf(isRead);
        }
    });
    resultOf(isShown);
    EXPECT_EQ(scanner->info().text2, attachment->serialNumber());
    read.set_value();
    scanner->stop();
    EXPECT_NO_THROW(resultOf(end));
}

} // namespace
} // namespace ridge::test
