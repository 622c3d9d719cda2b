#include "hostedscanner.h"

#include <stdexcept>
#include <thread>
#include <vector>

namespace ridge::test {
namespace {

class AssistedCapture : public HostedScanner {};

Verdict accept(const Image&) {
    return Verdict::accept;
}

TEST_F(AssistedCapture, ShowsImagesUntilOneIsAcceptedAndReturnsTheCapture) {
    connect();
    std::vector<std::size_t> shown;
    const CapturedImage image = scanner->captureAssisted([&](const Image& judged) {
        shown.push_back(judged.pixels.size());
        return shown.size() < 3 ? Verdict::reject : Verdict::accept;
    });
    EXPECT_EQ(shown, std::vector<std::size_t>(3, 30000U));
    EXPECT_EQ(image.pixels.size(), 120000U);
    EXPECT_GT(image.extraValue, 0);
}

TEST_F(AssistedCapture, OneAfterTheOther_EachShowsImagesFirst) {
    connect();
    for (int round = 0; round < 3; ++round) {
        int shown = 0;
        std::future<CapturedImage> future = scanner->captureAssistedAsync([&](const Image& judged) {
            ++shown;
            return accept(judged);
        });
        EXPECT_EQ(resultOf(future).pixels.size(), 120000U);
        EXPECT_EQ(shown, 1);
    }
}

TEST_F(AssistedCapture, VerdictLeftOpen_IsGivenLaterAndCountsOnce) {
    connect();
    std::promise<void> shown;
    std::future<void> isShown = shown.get_future();
    std::future<CapturedImage> image = scanner->captureAssistedAsync([&](const Image&) {
        shown.set_value();
        return Verdict::open;
    });
    resultOf(isShown);
    EXPECT_TRUE(scanner->giveVerdict(Verdict::open)) << "still nothing is decided";
    EXPECT_FALSE(isReady(image));
    std::thread([&] {
        EXPECT_TRUE(scanner->giveVerdict(Verdict::accept));
        EXPECT_FALSE(scanner->giveVerdict(Verdict::reject));
    }).join();
    EXPECT_EQ(resultOf(image).pixels.size(), 120000U);
    EXPECT_FALSE(scanner->giveVerdict(Verdict::accept)) << "nothing is shown";
}

TEST_F(AssistedCapture, VerdictGivenInsideTheJudge_Counts) {
    connect();
    int shown = 0;
    const CapturedImage image = scanner->captureAssisted([&](const Image&) {
        ++shown;
        EXPECT_TRUE(scanner->giveVerdict(Verdict::accept));
        return Verdict::reject;
    });
    EXPECT_EQ(shown, 1) << "the first decision counts";
    EXPECT_EQ(image.pixels.size(), 120000U);
}

TEST_F(AssistedCapture, StoppedWhileAVerdictIsAwaited_ThrowsAndTheNextOneShowsImagesAgain) {
    connect();
    const StopSource stop;
    EXPECT_EQ(failureOf([&] {
                  scanner->captureAssisted(
                      [&](const Image&) {
                          stop.requestStop();
                          return Verdict::open;
                      },
                      {}, stop.token());
              }),
              wasStopped);
    EXPECT_FALSE(scanner->giveVerdict(Verdict::accept));
    int shown = 0;
    const CapturedImage image = scanner->captureAssisted([&](const Image& judged) {
        ++shown;
        return accept(judged);
    });
    EXPECT_EQ(shown, 1);
    EXPECT_EQ(image.pixels.size(), 120000U);
}

TEST_F(AssistedCapture, StopRequestedBefore_StopsItAtOnce) {
    connect();
    const StopSource stop;
    stop.requestStop();
    EXPECT_TRUE(stop.stopRequested());
    EXPECT_TRUE(stop.token().stopRequested());
    EXPECT_FALSE(StopToken().stopRequested());
    EXPECT_EQ(failureOf([&] {
                  scanner->captureAssisted(
                      [](const Image&) {
                          ADD_FAILURE() << "nothing is shown any more";
                          return Verdict::accept;
                      },
                      {}, stop.token());
              }),
              wasStopped);
    expectUsable();
}

TEST_F(AssistedCapture, Stop_EndsOneWithFuture) {
    connect();
    std::promise<void> shown;
    std::future<void> isShown = shown.get_future();
    std::future<CapturedImage> image = scanner->captureAssistedAsync([&](const Image&) {
        shown.set_value();
        return Verdict::open;
    });
    resultOf(isShown);
    scanner->stop();
    EXPECT_TRUE(isReady(image));
    EXPECT_EQ(failureOf([&] { image.get(); }), wasStopped);
    expectUsable();
}

TEST_F(AssistedCapture, JudgeThatThrows_EndsItAndIsThrown) {
    connect();
    const auto refuse = [](const Image&) -> Verdict { throw std::out_of_range("cannot tell"); };
    EXPECT_THROW(scanner->captureAssisted(refuse), std::out_of_range);
    EXPECT_EQ(scanner->captureAssisted(accept).pixels.size(), 120000U);
}

TEST_F(AssistedCapture, FirstImageMakesNoSense_IsRejectedWithoutBeingShown) {
    connect({true, 0, {"GET STREAM DATA/block: short-block:17"}});
    int shown = 0;
    const CapturedImage image = scanner->captureAssisted([&](const Image& judged) {
        ++shown;
        EXPECT_EQ(judged.pixels.size(), 30000U);
        return accept(judged);
    });
    EXPECT_EQ(shown, 1);
    EXPECT_EQ(image.pixels.size(), 120000U);
}

TEST_F(AssistedCapture, ImageAfterARejectedOneMakesNoSense_IsRejectedWithoutBeingShown) {
    connect({true, 0, {"GET STREAM DATA/block#2: short-block:17"}});
    int shown = 0;
    const CapturedImage image = scanner->captureAssisted([&](const Image&) {
        ++shown;
        return shown == 1 ? Verdict::reject : Verdict::accept;
    });
    EXPECT_EQ(shown, 2);
    EXPECT_EQ(image.pixels.size(), 120000U);
}

TEST_F(AssistedCapture, CaptureThatMakesNoSense_IsAFailure) {
    connect({true, 0, {"GET CAPTURE DATA/block: short-block:19"}});
    EXPECT_EQ(failureOf([&] { scanner->captureAssisted(accept); }),
              (Failure{Status::malformedData, "Invalid capture data"}));
    EXPECT_EQ(scanner->captureAssisted(accept).pixels.size(), 120000U);
}

TEST_F(AssistedCapture, OptionOfZero_IsRefused) {
    connect();
    CaptureParameters parameters;
    parameters.option = 0;
    EXPECT_EQ(failureOf([&] { scanner->captureAssisted(accept, parameters); }),
              (Failure{Status::protocolError, "Failed to start host assisted capture (1)."}));
}

} // namespace
} // namespace ridge::test
