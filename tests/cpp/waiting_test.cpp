// Operations that wait for something in the scanner's own time.

#include "childprocess.h"
#include "hostedscanner.h"
#include "simulatorprocess.h"

#include <thread>

namespace ridge::test {
namespace {

const SubjectName ann{"Ann", "", "", "", "", ""};

/// A scanner that captures as long as it is let: no finger comes.
class EndlessCapture : public testing::Test {
protected:
    void SetUp() override { scanner.connect(simulator.portName()); }

    void expectNextCommandAccepted() { scanner.setSettings({}); }

    SimulatorProcess simulator{{"--baud", "0", "--finger-delay", "never"}};
    Scanner scanner;
};

TEST_F(EndlessCapture, StopRequestedByAnotherThread_ThrowsStopped) {
    const StopSource stop;
    std::thread other([&] {
        simulator.waitForReport("START CAPTURE");
        stop.requestStop();
    });
    EXPECT_EQ(failureOf([&] { scanner.capture({}, stop.token()); }), wasStopped);
    other.join();
    simulator.waitForReport("STOP CAPTURE");
    expectNextCommandAccepted();
}

TEST_F(EndlessCapture, StandardsStopToken_ThrowsStopped) {
    std::jthread capturing([&](const std::stop_token& stop) {
        EXPECT_EQ(failureOf([&] { scanner.capture({}, stop); }), wasStopped);
    });
    simulator.waitForReport("START CAPTURE");
    capturing.request_stop();
    capturing.join();
    simulator.waitForReport("STOP CAPTURE");
    expectNextCommandAccepted();
}

TEST_F(EndlessCapture, Stop_MakesTheFutureReady) {
    std::future<CapturedImage> image = scanner.captureAsync();
    simulator.waitForReport("START CAPTURE");
    scanner.stop();
    EXPECT_TRUE(isReady(image));
    EXPECT_EQ(failureOf([&] { image.get(); }), wasStopped);
    simulator.waitForReport("STOP CAPTURE");
    expectNextCommandAccepted();
}

TEST_F(EndlessCapture, ScannerDestroyed_StopsItAndMakesTheFutureReady) {
    auto own = std::make_unique<Scanner>(std::move(scanner));
    std::future<CapturedImage> image = own->captureAsync();
    simulator.waitForReport("START CAPTURE");
    own.reset();
    EXPECT_TRUE(isReady(image));
    EXPECT_EQ(failureOf([&] { image.get(); }), wasStopped);
    simulator.waitForReport("STOP CAPTURE");
}

TEST_F(EndlessCapture, ParametersAndBlock_ReachTheScanner) {
    CaptureParameters parameters;
    parameters.fingerPosition = 10;
    parameters.timeout = std::chrono::seconds(30);
    parameters.option = 0x101;
    parameters.block.emplace().fill(0xA0);
    const std::future<CapturedImage> image =
        scanner.captureAsync(parameters, [](std::chrono::milliseconds) {});
    EXPECT_EQ(simulator.waitForReport("START CAPTURE"),
              "START CAPTURE: mode 10, time-out 30000 ms, option 265, events, block of 256 bytes "
              "(a0 a0 a0 a0 ...)");
    scanner.stop();
}

TEST_F(EndlessCapture, WithoutEventCallback_AsksForNoEvents) {
    const std::future<CapturedImage> image = scanner.captureAsync();
    EXPECT_EQ(simulator.waitForReport("START CAPTURE"),
              "START CAPTURE: mode 0, time-out 10000 ms, option 1, no block");
    scanner.stop();
}

TEST(StopRequestedInACallback, EndsTheCaptureAndItsEvents) {
    // The finger takes eight seconds to come to rest.
    SimulatorProcess simulator({"--baud", "0", "--finger-delay", "0", "--early-lifts", "20"});
    Scanner scanner;
    scanner.connect(simulator.portName());
    const StopSource stop;
    int events = 0;
    EXPECT_EQ(failureOf([&] {
                  scanner.capture({}, stop.token(), [&](std::chrono::milliseconds) {
                      ++events;
                      stop.requestStop();
                  });
              }),
              wasStopped);
    EXPECT_EQ(events, 1) << "nothing is called once the stop was requested";
}

TEST(StopThatIsNotConfirmed, IsTheCapturesFailure) {
    SimulatorProcess simulator({"--baud", "0", "--finger-delay", "never", "--fault",
                                "STOP CAPTURE: device-error:77:stuck always"});
    Scanner scanner;
    scanner.connect(simulator.portName());
    const Failure stuck{Status::deviceFailure, "STOP CAPTURE: Failed (18) with error 77. stuck"};
    std::future<CapturedImage> image = scanner.captureAsync();
    simulator.waitForReport("START CAPTURE");
    scanner.stop();
    EXPECT_EQ(failureOf([&] { image.get(); }), stuck);
    std::future<void> end = scanner.streamAsync([](const Image&) {});
    simulator.waitForReport("STREAM START");
    scanner.stop();
    EXPECT_EQ(failureOf([&] { end.get(); }), stuck);
}

/// A signing request that the scanner takes its time for.
class DuringASigningRequest : public testing::Test {
protected:
    void SetUp() override {
        scanner = std::make_unique<Scanner>();
        scanner->connect(simulator.portName());
        request = scanner->createSigningRequestAsync(ann);
        simulator.waitForReport("CREATE CSR");
    }

    void TearDown() override { EXPECT_EQ(resultOf(request).front(), 0x30); }

    SimulatorProcess simulator{{"--baud", "0", "--fault", "CREATE CSR: late-answer:1500"}};
    std::unique_ptr<Scanner> scanner;
    std::future<Bytes> request;
};

TEST_F(DuringASigningRequest, Stop_DoesNothing) {
    scanner->stop();
    EXPECT_FALSE(isReady(request));
}

TEST_F(DuringASigningRequest, EverythingThatNeedsTheScanner_IsRefused) {
    EXPECT_EQ(failureOf([&] { scanner->capture(); }), busy);
    EXPECT_EQ(failureOf([&] { scanner->setSettings({}); }), busy);
    EXPECT_EQ(failureOf([&] { static_cast<void>(scanner->createSigningRequest(ann)); }), busy);
    EXPECT_FALSE(isReady(request));
}

TEST_F(DuringASigningRequest, DestroyedScanner_WaitsForTheResult) {
    scanner.reset();
    EXPECT_TRUE(isReady(request));
}

TEST_F(DuringASigningRequest, DisconnectedScanner_WaitsForTheResult) {
    scanner->disconnect();
    EXPECT_TRUE(isReady(request));
    scanner->connect(simulator.portName());
    scanner->setSettings({});
}

TEST(ScannerDestroyedInsideItsCallback, EndsTheProcess) {
    const SimulatorProcess simulator({"--baud", "0"});
    const ProgramResult host =
        runProgram("ridge-cpp-tests.exe", {"--destroy-inside-callback", simulator.portName()});
    EXPECT_EQ(host.output, "destroying\nterminate called without an active exception\n");
    EXPECT_NE(host.exitStatus, 0UL);
}

} // namespace
} // namespace ridge::test
