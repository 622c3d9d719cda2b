#include "fakefactory.h"
#include "gate.h"
#include "imageblocks.h"
#include "logrecorder.h"
#include "manualclock.h"
#include "recordinglistener.h"
#include "ridgedevice.h"
#include "ridgeexception.h"
#include "throwsridgeexception.h"

#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace ridge {
namespace {

using namespace std::chrono_literals;
using test::BlockContent;
using test::captureBlock;
using test::Chunk;
using test::ChunkScript;
using test::CommandScript;
using test::FakeFactory;
using test::Gate;
using test::hexText;
using test::LogRecorder;
using test::ManualClock;
using test::RecordingListener;
using test::streamBlock;
using test::throwsRidgeException;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

using Bytes = std::vector<std::uint8_t>;

constexpr const char* busyText = "Invalid state - command execution or capture is active!";

const BlockContent smallImage{0x5, 2, 3, {1, 2, 3, 4, 5, 6}, 7, {0xA0, 0xA1}};
constexpr const char* smallCapture =
    "image ABC=100 2x3 [01 02 03 04 05 06] extra=7 trailer=[A0 A1]";
constexpr const char* smallStreamImage = "image ABC=100 2x3 [01 02 03 04 05 06] extra=0 trailer=[]";

/// A run of different bytes.
Bytes countingBytes(std::size_t count) {
    Bytes bytes(count);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

/// The bytes cut into pieces at the given positions.
std::vector<Bytes> cut(const Bytes& bytes, const std::vector<std::size_t>& positions) {
    std::vector<Bytes> pieces;
    std::size_t start = 0;
    for (const std::size_t position : positions) {
        pieces.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(start),
                            bytes.begin() + static_cast<std::ptrdiff_t>(position));
        start = position;
    }
    pieces.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(start), bytes.end());
    return pieces;
}

/// The beginning of a block that announces a length.
Bytes announcing(std::uint32_t length, std::size_t size) {
    Bytes bytes;
    appendBigEndian32(bytes, length);
    bytes.resize(size);
    return bytes;
}

/// A mask without equal bytes, 0x80 to 0xBF.
CaptureMask countingMask() {
    CaptureMask mask{};
    std::iota(mask.begin(), mask.end(), std::uint8_t{0x80});
    return mask;
}

Bytes masked(Bytes image, const CaptureMask& mask) {
    for (std::size_t index = 0; index < image.size(); ++index) {
        image[index] = static_cast<std::uint8_t>(image[index] ^ mask[index % 64]);
    }
    return image;
}

class CaptureWorkersTest : public testing::Test {
protected:
    CaptureWorkersTest() : device(std::make_unique<RidgeDevice>("COM7", factory)) {
        factory.journal.clear();
        factory.script.mask = countingMask();
    }

    void startCapture(std::uint32_t timeoutMs = 5000) {
        device->startCapture(1, timeoutMs, 2, nullptr, listener);
    }

    void startHostAssistedCapture() { device->startHostAssistedCapture(1, 2, nullptr, listener); }

    void startStream() { device->startStream(nullptr, listener); }

    /// Waits for a worker that ends by itself.
    void waitForEnd() const {
        while (device->isCaptureActive()) {
            std::this_thread::yield();
        }
    }

    /// Runs a capture that ends by itself.
    void capture(const std::vector<Bytes>& chunks) {
        for (const Bytes& chunk : chunks) {
            factory.script.captureData.thenBytes(chunk);
        }
        startCapture();
        waitForEnd();
    }

    /// Runs a stream that ends by itself.
    void stream(const std::vector<Bytes>& chunks) {
        for (const Bytes& chunk : chunks) {
            factory.script.streamData.thenBytes(chunk);
        }
        startStream();
        waitForEnd();
    }

    /// Makes a command fail.
    void failDuring(const std::string& operation, std::int32_t code, const std::string& text) {
        factory.script.during(operation,
                              [code, text] { throw RIDGE_EXCEPTION(code, "%s", text.c_str()); });
    }

    /// What happened after the worker's first command.
    [[nodiscard]] std::vector<std::string> afterStart() const {
        std::vector<std::string> entries = factory.journal.entries();
        if (!entries.empty()) {
            entries.erase(entries.begin());
        }
        return entries;
    }

    [[nodiscard]] std::vector<std::string> reported() const { return listener.events.entries(); }

    FakeFactory factory;
    RecordingListener listener;
    std::unique_ptr<RidgeDevice> device;
};

// ------------------------------------------------------------------------------------- starting

TEST_F(CaptureWorkersTest, StartCapture_PassesItsArgumentsUnchanged) {
    device->startCapture(10, 30000, 0x80000001, nullptr, listener);
    device->stopCapture();
    EXPECT_EQ(factory.journal.entries().at(0),
              "startCapture mode=10 timeoutMs=30000 parameter=-2147483647 events=1 block=");
}

TEST_F(CaptureWorkersTest, StartCapture_ListenerWantsNoEvents_RequestsNone) {
    listener.eventsEnabled = false;
    device->startCapture(0, 0, 0, nullptr, listener);
    device->stopCapture();
    EXPECT_EQ(factory.journal.entries().at(0),
              "startCapture mode=0 timeoutMs=0 parameter=0 events=0 block=");
}

TEST_F(CaptureWorkersTest, StartHostAssistedCapture_PassesItsArgumentsUnchanged) {
    const Bytes block = countingBytes(256);
    device->startHostAssistedCapture(10, 0xFFFFFFFF, block.data(), listener);
    device->stopCapture();
    EXPECT_EQ(factory.journal.entries().at(0),
              "startHostAssistedCapture mode=10 parameter=4294967295 block=" + hexText(block));
}

TEST_F(CaptureWorkersTest, StartHostAssistedCapture_WithoutBlock_PassesNone) {
    device->startHostAssistedCapture(0, 0, nullptr, listener);
    device->stopCapture();
    EXPECT_EQ(factory.journal.entries().at(0),
              "startHostAssistedCapture mode=0 parameter=0 block=");
}

TEST_F(CaptureWorkersTest, StartStream_PassesTheBlock) {
    const Bytes block = countingBytes(256);
    device->startStream(block.data(), listener);
    device->stopCapture();
    EXPECT_EQ(factory.journal.entries().at(0), "startStream block=" + hexText(block));
}

TEST_F(CaptureWorkersTest, StartStream_WithoutBlock_PassesNone) {
    startStream();
    device->stopCapture();
    EXPECT_EQ(factory.journal.entries().at(0), "startStream block=");
}

TEST_F(CaptureWorkersTest, StartCapture_CopiesTheBlockBeforeItReturns) {
    Gate gate;
    listener.duringIsEventEnabled = [&gate] { gate.pass(); };
    const Bytes block = countingBytes(256);
    Bytes callersBlock = block;
    device->startCapture(0, 0, 0, callersBlock.data(), listener);
    callersBlock.assign(256, 0xEE);
    gate.open();
    device->stopCapture();
    EXPECT_EQ(factory.journal.entries().at(0),
              "startCapture mode=0 timeoutMs=0 parameter=0 events=1 block=" + hexText(block));
}

TEST_F(CaptureWorkersTest, Start_WhileAnyWorkerRuns_Fails6AndLeavesItAlone) {
    Gate gate;
    factory.script.captureData.then([&gate] {
        gate.pass();
        return Chunk{captureBlock(smallImage)};
    });
    startCapture();
    factory.journal.waitFor("getCaptureData poll");
    RecordingListener other;
    EXPECT_THAT([&] { device->startCapture(0, 0, 0, nullptr, other); },
                throwsRidgeException(6, busyText));
    EXPECT_THAT([&] { device->startHostAssistedCapture(0, 1, nullptr, other); },
                throwsRidgeException(6, busyText));
    EXPECT_THAT([&] { device->startStream(nullptr, other); }, throwsRidgeException(6, busyText));
    gate.open();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(smallCapture));
    EXPECT_THAT(other.events.entries(), IsEmpty());
    EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll"));
}

TEST_F(CaptureWorkersTest, Start_NotConnected_Fails11AndStartsNothing) {
    device->disconnect(true);
    factory.journal.clear();
    const auto matcher = throwsRidgeException(11, "Device is not connected!");
    EXPECT_THAT([this] { startCapture(); }, matcher);
    EXPECT_THAT([this] { startHostAssistedCapture(); }, matcher);
    EXPECT_THAT([this] { startStream(); }, matcher);
    EXPECT_FALSE(device->isCaptureActive());
    EXPECT_THAT(factory.journal.entries(), IsEmpty());
}

TEST_F(CaptureWorkersTest, Start_AfterASerialError_Fails5AndStartsNothing) {
    factory.failPort("unplugged");
    const auto matcher = throwsRidgeException(5, "Serial port error detected. unplugged");
    EXPECT_THAT([this] { startCapture(); }, matcher);
    EXPECT_THAT([this] { startHostAssistedCapture(); }, matcher);
    EXPECT_THAT([this] { startStream(); }, matcher);
    EXPECT_FALSE(device->isCaptureActive());
    EXPECT_THAT(factory.journal.entries(), IsEmpty());
    EXPECT_THAT(reported(), IsEmpty());
}

TEST_F(CaptureWorkersTest, Start_AfterAStoppedCapture_IsNotStoppedByTheOldRequest) {
    startCapture();
    device->stopCapture();
    factory.journal.clear();
    capture({captureBlock(smallImage)});
    EXPECT_THAT(reported(), ElementsAre(smallCapture));
    EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll"));
}

// --------------------------------------------------------------------------------------- runner

TEST_F(CaptureWorkersTest, Capture_LogsItsLife) {
    factory.script.captureData.thenBytes(captureBlock(smallImage));
    const LogRecorder log;
    startCapture();
    waitForEnd();
    EXPECT_THAT(log.messages('I'),
                ElementsAre("Capture thread active", "Stream mode:N", "Capture thread completed"));
    EXPECT_EQ(log.lines().size(), 3U);
}

TEST_F(CaptureWorkersTest, HostAssistedCapture_LogsItsLife) {
    const LogRecorder log;
    startHostAssistedCapture();
    device->stopCapture();
    EXPECT_THAT(log.messages('I'), ElementsAre("Capture (HAC) thread active", "Stream mode:N",
                                               "Capture (HAC) thread completed"));
    EXPECT_EQ(log.lines().size(), 3U);
}

TEST_F(CaptureWorkersTest, Stream_LogsItsLife) {
    const LogRecorder log;
    startStream();
    device->stopCapture();
    EXPECT_THAT(log.messages('I'),
                ElementsAre("Stream thread active", "Stream mode:Y", "Stream thread completed"));
    EXPECT_EQ(log.lines().size(), 3U);
}

/// A failure and what a worker named "Capture" makes of it.
struct ThrownCase {
    std::string name;
    std::function<void()> thrower;
    std::string report;
    std::vector<std::string> errorLines;
};

class WorkerFailureTest : public CaptureWorkersTest,
                          public testing::WithParamInterface<ThrownCase> {};

TEST_P(WorkerFailureTest, IsLoggedAndReportedAndEndsTheWorker) {
    factory.script.during("startCapture", GetParam().thrower);
    const LogRecorder log;
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(GetParam().report));
    EXPECT_THAT(log.messages('E'), ElementsAreArray(GetParam().errorLines));
    EXPECT_THAT(log.messages('I'),
                ElementsAre("Capture thread active", "Stream mode:N", "Capture thread completed"));
    EXPECT_THAT(afterStart(), IsEmpty());
    EXPECT_TRUE(device->isConnected());
    EXPECT_NO_THROW(device->checkReady());
}

INSTANTIATE_TEST_SUITE_P(
    Everything, WorkerFailureTest,
    testing::Values(ThrownCase{"RidgeException",
                               [] { throw RIDGE_EXCEPTION(9, "Timeout starting capture."); },
                               "error 9 Timeout starting capture.",
                               {"Error 9 - Timeout starting capture.",
                                "Capture error 9/Timeout starting capture."}},
                    ThrownCase{"TextWithPercentSigns",
                               [] { throw RIDGE_EXCEPTION(std::string("100%s %d")); },
                               "error 5 100%s %d",
                               {"Error 5 - 100%s %d", "Capture error 5/100%s %d"}},
                    ThrownCase{"OtherStandardException",
                               [] { throw std::out_of_range("invalid vector<T> subscript"); },
                               "error 4 invalid vector<T> subscript",
                               {"Capture error invalid vector<T> subscript"}},
                    ThrownCase{"AnythingElse",
                               [] { throw 42; },
                               "error 4 Unknown command error",
                               {"Unknown Capture error"}}),
    [](const testing::TestParamInfo<ThrownCase>& test) { return test.param.name; });

TEST_F(CaptureWorkersTest, Failure_OfTheOtherWorkers_IsLoggedUnderTheirNames) {
    failDuring("startHostAssistedCapture", 9, "Timeout starting host assisted capture.");
    failDuring("startStream", 9, "Timeout starting capture in streaming mode.");
    const LogRecorder log;
    startHostAssistedCapture();
    waitForEnd();
    startStream();
    waitForEnd();
    EXPECT_THAT(log.messages('E'),
                ElementsAre("Error 9 - Timeout starting host assisted capture.",
                            "Capture (HAC) error 9/Timeout starting host assisted capture.",
                            "Error 9 - Timeout starting capture in streaming mode.",
                            "Stream error 9/Timeout starting capture in streaming mode."));
    EXPECT_THAT(reported(), ElementsAre("error 9 Timeout starting host assisted capture.",
                                        "error 9 Timeout starting capture in streaming mode."));
    EXPECT_THAT(
        factory.journal.entries(),
        ElementsAre("startHostAssistedCapture mode=1 parameter=2 block=", "startStream block="));
}

TEST_F(CaptureWorkersTest, ListenerThrowsOnAnImage_IsReportedToItAsAFailure) {
    listener.duringComplete = [] { throw std::runtime_error("host failed"); };
    capture({captureBlock(smallImage)});
    EXPECT_THAT(reported(), ElementsAre(smallCapture, "error 4 host failed"));
    EXPECT_NO_THROW(device->checkReady());
}

TEST_F(CaptureWorkersTest, ListenerThrowsOnAFailure_EndsTheWorkerAndNotTheProcess) {
    failDuring("startCapture", 9, "Timeout starting capture.");
    listener.duringError = [] { throw std::runtime_error("host failed"); };
    const LogRecorder log;
    startCapture();
    waitForEnd();
    listener.duringError = [] { throw 42; };
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 9 Timeout starting capture.",
                                        "error 9 Timeout starting capture."));
    EXPECT_EQ(log.messages('I').back(), "Capture thread completed");
    EXPECT_NO_THROW(device->checkReady());
}

TEST_F(CaptureWorkersTest, ListenerThrowsOnTheScannersTimeout_HearsOfItsOwnFailure) {
    int calls = 0;
    listener.duringError = [&calls] {
        if (++calls == 1) {
            throw std::runtime_error("host failed");
        }
    };
    factory.script.captureData.then(Chunk{{}, true, false});
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 7 Capture timeout", "error 4 host failed"));
}

TEST_F(CaptureWorkersTest, Listener_IsCalledOnAThreadOfTheWorkersOwn) {
    std::thread::id imageThread;
    std::thread::id eventThread;
    listener.duringEvent = [&] { eventThread = std::this_thread::get_id(); };
    listener.duringComplete = [&] { imageThread = std::this_thread::get_id(); };
    factory.script.captureData.then(Chunk{{}, false, true});
    capture({captureBlock(smallImage)});
    EXPECT_NE(imageThread, std::thread::id());
    EXPECT_NE(imageThread, std::this_thread::get_id());
    EXPECT_EQ(eventThread, imageThread);
}

TEST_F(CaptureWorkersTest, Listener_IsCalledWithoutALockHeld) {
    // Each call would hang if the worker held the lock that it takes.
    const auto useSession = [this] {
        EXPECT_TRUE(device->isConnected());
        EXPECT_TRUE(device->isCaptureActive());
        EXPECT_FALSE(device->hasSerialError());
        device->setHostAssistedCaptureResult(1);
        EXPECT_THAT([this] { device->checkReady(); }, throwsRidgeException(6, busyText));
    };
    listener.duringEvent = useSession;
    listener.duringComplete = useSession;
    listener.duringError = useSession;
    factory.script.captureData.then(Chunk{{}, false, true});
    capture({captureBlock(smallImage)});
    factory.script.captureData.then(Chunk{{}, true, false});
    startCapture();
    waitForEnd();
    EXPECT_EQ(reported().size(), 3U);
}

// ---------------------------------------------------------------------------------- worker slot

TEST_F(CaptureWorkersTest, Slot_WorkerThatEndsAtOnce_IsAlwaysCleared) {
    failDuring("startCapture", 9, "Timeout starting capture.");
    for (int round = 0; round < 2000; ++round) {
        startCapture();
        // Returns however far the worker has come.
        device->stopCapture();
        ASSERT_FALSE(device->isCaptureActive());
        ASSERT_NO_THROW(device->checkReady());
    }
    EXPECT_EQ(listener.events.count("error 9 Timeout starting capture."), 2000U);
}

TEST_F(CaptureWorkersTest, Slot_SessionAndListenerMayGoAsSoonAsStopHasReturned) {
    for (int round = 0; round < 2000; ++round) {
        FakeFactory ownFactory;
        auto ownListener = std::make_unique<RecordingListener>();
        auto session = std::make_unique<RidgeDevice>("COM7", ownFactory);
        session->startCapture(0, 0, 0, nullptr, *ownListener);
        session->stopCapture();
        session.reset();
        ownListener.reset();
    }
}

TEST_F(CaptureWorkersTest, Slot_SessionMayBeDestroyedWithAWorkerRunningOrEnding) {
    for (int round = 0; round < 2000; ++round) {
        FakeFactory ownFactory;
        RecordingListener ownListener;
        if (round % 2 == 0) {
            ownFactory.script.captureData.thenBytes(captureBlock(smallImage));
        }
        RidgeDevice session("COM7", ownFactory);
        session.startCapture(0, 0, 0, nullptr, ownListener);
    }
}

TEST_F(CaptureWorkersTest, Slot_SessionMayBeDestroyedWhileItsWorkerLeavesAFailedPort) {
    for (int round = 0; round < 2000; ++round) {
        FakeFactory ownFactory;
        RecordingListener ownListener;
        Gate leaving;
        // Every other round the worker has come as far as its report.
        const bool reporting = round % 2 == 0;
        ownFactory.script.captureData.then([&] {
            ownFactory.failPort("unplugged");
            if (!reporting) {
                leaving.open();
            }
            return Chunk{announcing(100, 50)};
        });
        ownListener.duringError = [&leaving] { leaving.open(); };
        auto session = std::make_unique<RidgeDevice>("COM7", ownFactory);
        session->startCapture(0, 0, 0, nullptr, ownListener);
        leaving.pass();
        session.reset();
        ASSERT_EQ(ownFactory.journal.count("destroy commands"), 1U);
        ASSERT_EQ(ownFactory.journal.count("destroy packet handler"), 1U);
        ASSERT_EQ(ownFactory.journal.count("receive"), 0U);
        if (reporting) {
            ASSERT_THAT(ownListener.events.entries(),
                        ElementsAre("error 5 Serial port error. unplugged"));
        }
    }
}

// -------------------------------------------------------------------------------------- capture

TEST_F(CaptureWorkersTest, Capture_InOneChunk_IsDeliveredAndEndsWithoutFurtherCommand) {
    capture({captureBlock(smallImage)});
    EXPECT_THAT(reported(), ElementsAre(smallCapture));
    EXPECT_THAT(factory.journal.entries(),
                ElementsAre("startCapture mode=1 timeoutMs=5000 parameter=2 events=1 block=",
                            "getCaptureData poll"));
}

TEST_F(CaptureWorkersTest, Capture_InSeveralChunks_IsDeliveredOnceAndPolledOnce) {
    capture(cut(captureBlock(smallImage), {5, 6, 20}));
    EXPECT_THAT(reported(), ElementsAre(smallCapture));
    EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll", "getCaptureData wait",
                                          "getCaptureData wait", "getCaptureData wait"));
}

TEST_F(CaptureWorkersTest, Capture_EveryCutInTwo_GivesTheSameImage) {
    const Bytes block = captureBlock(smallImage);
    for (std::size_t position = 5; position < block.size(); ++position) {
        listener.events.clear();
        capture(cut(block, {position}));
        EXPECT_THAT(reported(), ElementsAre(smallCapture)) << "cut at " << position;
    }
}

TEST_F(CaptureWorkersTest, Capture_EmptyAnswers_ArePolledAgain) {
    factory.script.captureData.then(Chunk{});
    factory.script.captureData.then(Chunk{});
    capture({captureBlock(smallImage)});
    EXPECT_THAT(reported(), ElementsAre(smallCapture));
    EXPECT_THAT(afterStart(),
                ElementsAre("getCaptureData poll", "getCaptureData poll", "getCaptureData poll"));
}

TEST_F(CaptureWorkersTest, Capture_EmptyAnswerInsideABlock_KeepsTheBlock) {
    const std::vector<Bytes> pieces = cut(captureBlock(smallImage), {10});
    capture({pieces[0], {}, pieces[1]});
    EXPECT_THAT(reported(), ElementsAre(smallCapture));
    EXPECT_THAT(afterStart(),
                ElementsAre("getCaptureData poll", "getCaptureData wait", "getCaptureData wait"));
}

TEST_F(CaptureWorkersTest, Capture_EmptyImage_IsDelivered) {
    capture({captureBlock({0x1, 300, 400, {}, 9, {0xAA}})});
    EXPECT_THAT(reported(), ElementsAre("image ABC=100 300x400 [] extra=9 trailer=[AA]"));
}

TEST_F(CaptureWorkersTest, Capture_EmptyTrailer_IsDelivered) {
    capture({captureBlock({0, 1, 1, {0x55}, 0xFF, {}})});
    EXPECT_THAT(reported(), ElementsAre("image ABC=000 1x1 [55] extra=255 trailer=[]"));
}

TEST_F(CaptureWorkersTest, Capture_LargestNumbers_AreDelivered) {
    capture({captureBlock({0, 65535, 65534, {0x55}, 0, Bytes(65535, 1)})});
    EXPECT_THAT(reported(), ElementsAre("image ABC=000 65535x65534 [55] extra=0 trailer=[" +
                                        hexText(Bytes(65535, 1)) + "]"));
}

TEST_F(CaptureWorkersTest, Capture_Flags_CCountsOnlyTogetherWithBAndOthersAreIgnored) {
    const std::array<std::string, 8> expected{"000", "100", "010", "110",
                                              "000", "100", "011", "111"};
    for (std::uint32_t flags = 0; flags < 8; ++flags) {
        listener.events.clear();
        capture({captureBlock({0xFFFFFFF8 | flags, 1, 1, {0x55}, 0, {}})});
        EXPECT_THAT(reported(),
                    ElementsAre("image ABC=" + expected[flags] + " 1x1 [55] extra=0 trailer=[]"))
            << "flags " << flags;
    }
}

/// Chunks that make no block, and the failure they end in.
struct MalformedCase {
    std::string name;
    std::vector<Bytes> chunks;
    std::string report;
};

std::string malformedName(const testing::TestParamInfo<MalformedCase>& test) {
    return test.param.name;
}

class MalformedCaptureTest : public CaptureWorkersTest,
                             public testing::WithParamInterface<MalformedCase> {};

TEST_P(MalformedCaptureTest, FailsAndEndsWithoutStopCapture) {
    capture(GetParam().chunks);
    EXPECT_THAT(reported(), ElementsAre(GetParam().report));
    std::vector<std::string> expected{"getCaptureData poll"};
    expected.resize(GetParam().chunks.size(), "getCaptureData wait");
    EXPECT_THAT(afterStart(), ElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(
    Lengths, MalformedCaptureTest,
    testing::Values(
        MalformedCase{"FirstChunkOf1Byte",
                      {announcing(100, 1)},
                      "error 10 Invalid captured data header length 1"},
        MalformedCase{"FirstChunkOf4Bytes",
                      {announcing(100, 4)},
                      "error 10 Invalid captured data header length 4"},
        MalformedCase{"Announced0", {announcing(0, 5)}, "error 10 Invalid captured data length 0"},
        MalformedCase{
            "Announced18", {announcing(18, 18)}, "error 10 Invalid captured data length 18"},
        MalformedCase{"Announced140001",
                      {announcing(140001, 5)},
                      "error 10 Invalid captured data length 140001"},
        MalformedCase{"AnnouncedAllOnes",
                      {announcing(0xFFFFFFFF, 5)},
                      "error 10 Invalid captured data length -1"},
        MalformedCase{"FirstChunkTooLong",
                      {announcing(20, 21)},
                      "error 10 Invalid captured data length 20/21"},
        MalformedCase{"LaterChunkTooLong",
                      {announcing(30, 20), Bytes(10000, 0)},
                      "error 10 Invalid captured data length 30/10020"}),
    malformedName);

/// A block of the given bytes; its first field is right.
Bytes blockOf(Bytes bytes) {
    Bytes length;
    appendBigEndian32(length, static_cast<std::uint32_t>(bytes.size()));
    std::copy(length.begin(), length.end(), bytes.begin());
    return bytes;
}

/// A capture block of `size` bytes with chosen image and trailer lengths in their places.
Bytes captureBlockClaiming(std::size_t size, std::uint32_t imageLength, std::size_t trailerField,
                           std::uint16_t trailerLength) {
    Bytes block(size, 0);
    Bytes numbers;
    appendBigEndian32(numbers, imageLength);
    std::copy(numbers.begin(), numbers.end(), block.begin() + 12);
    numbers.clear();
    appendBigEndian16(numbers, trailerLength);
    std::copy(numbers.begin(), numbers.end(),
              block.begin() + static_cast<std::ptrdiff_t>(trailerField));
    return blockOf(block);
}

INSTANTIATE_TEST_SUITE_P(
    Contents, MalformedCaptureTest,
    testing::Values(
        MalformedCase{"BlockOf19Bytes", {captureBlock({})}, "error 10 Invalid capture data"},
        MalformedCase{"BlockOf19BytesInTwoChunks", cut(captureBlock({}), {18}),
                      "error 10 Invalid capture data"},
        MalformedCase{"ImageLongerThanTheBlock",
                      {captureBlockClaiming(24, 6, 17, 0)},
                      "error 10 Invalid capture data"},
        MalformedCase{"ImageLengthAllOnes",
                      {captureBlockClaiming(24, 0xFFFFFFFF, 17, 5)},
                      "error 10 Invalid capture data"},
        MalformedCase{"ImageLengthThatWrapsAround",
                      {captureBlockClaiming(24, 0xFFFFFFFD, 17, 5)},
                      "error 10 Invalid capture data"},
        MalformedCase{"TrailerTooLong",
                      {captureBlockClaiming(24, 0, 17, 6)},
                      "error 10 Invalid capture data"},
        MalformedCase{"TrailerTooShort",
                      {captureBlockClaiming(24, 0, 17, 4)},
                      "error 10 Invalid capture data"},
        MalformedCase{"TrailerMissing",
                      {captureBlockClaiming(24, 5, 22, 1)},
                      "error 10 Invalid capture data"}),
    malformedName);

TEST_F(CaptureWorkersTest, Capture_BlockOf20Bytes_IsTheSmallestThatParses) {
    capture({captureBlockClaiming(20, 0, 17, 1)});
    EXPECT_THAT(reported(), ElementsAre("image ABC=000 0x0 [] extra=0 trailer=[00]"));
}

TEST_F(CaptureWorkersTest, Capture_BlockOf140000Bytes_IsDelivered) {
    BlockContent content{0, 1, 1, Bytes(139981, 0x55), 3, {}};
    const Bytes block = captureBlock(content);
    ASSERT_EQ(block.size(), 140000U);
    capture(cut(block, {10000, 20000, 130000}));
    EXPECT_THAT(reported(), ElementsAre("image ABC=000 1x1 [" + hexText(content.image) +
                                        "] extra=3 trailer=[]"));
}

TEST_F(CaptureWorkersTest, Capture_UnparsableBlock_IsLoggedAndNotThrown) {
    factory.script.captureData.thenBytes(captureBlock({}));
    const LogRecorder log;
    startCapture();
    waitForEnd();
    EXPECT_THAT(log.messages('E'),
                ElementsAre("Failed to parse capture data received from device"));
}

TEST_F(CaptureWorkersTest, Capture_BadLength_IsThrownAndLogged) {
    factory.script.captureData.thenBytes(announcing(18, 18));
    const LogRecorder log;
    startCapture();
    waitForEnd();
    EXPECT_THAT(log.messages('E'), ElementsAre("Error 10 - Invalid captured data length 18",
                                               "Capture error 10/Invalid captured data length 18"));
}

TEST_F(CaptureWorkersTest, Capture_ScannerTimesOut_IsReportedAndLoggedAndEnds) {
    factory.script.captureData.then(Chunk{{}, true, false});
    const LogRecorder log;
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 7 Capture timeout"));
    EXPECT_THAT(log.messages('I'), ElementsAre("Capture thread active", "Stream mode:N",
                                               "Capture timeout", "Capture thread completed"));
    EXPECT_THAT(log.messages('E'), IsEmpty());
    EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll"));
}

TEST_F(CaptureWorkersTest, Capture_EndsInsideABlock_DiscardsOnePacket) {
    factory.script.captureData.thenBytes(announcing(100, 50));
    factory.script.captureData.then(Chunk{{}, true, false});
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 7 Capture timeout"));
    EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll", "getCaptureData wait", "receive"));
}

TEST_F(CaptureWorkersTest, Capture_EndsInsideABlockAfterASerialError_DiscardsNothing) {
    factory.script.captureData.thenBytes(announcing(100, 50));
    factory.script.captureData.then([this] {
        factory.failPort("unplugged");
        return Chunk{{}, true, false};
    });
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 7 Capture timeout"));
    EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll", "getCaptureData wait"));
    EXPECT_TRUE(device->isConnected());
}

TEST_F(CaptureWorkersTest, Capture_CommandFails_ReportsItsFailureWithoutStopCapture) {
    factory.script.captureData.then([]() -> Chunk {
        throw RIDGE_EXCEPTION(13, "Error %d retrieving capture data. %s", 5, "ok");
    });
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 13 Error 5 retrieving capture data. ok"));
    EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll"));
}

TEST_F(CaptureWorkersTest, Capture_FailsInsideABlock_NeitherDiscardsNorStops) {
    factory.script.captureData.thenBytes(announcing(100, 50));
    factory.script.captureData.then(
        []() -> Chunk { throw RIDGE_EXCEPTION(9, "Timeout checking for capture result."); });
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 9 Timeout checking for capture result."));
    EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll", "getCaptureData wait"));
}

// --------------------------------------------------------------------------- events and waiting

class CaptureTimeTest : public CaptureWorkersTest {
protected:
    /// The next poll takes this long and then finds nothing.
    void thenNothingAfter(std::chrono::nanoseconds time, bool event = false) {
        factory.script.captureData.then([this, time, event] {
            clock.advance(time);
            return Chunk{{}, false, event};
        });
    }

    void thenImage() { factory.script.captureData.thenBytes(captureBlock(smallImage)); }

    ManualClock clock;
};

TEST_F(CaptureTimeTest, Event_CarriesTheWholeMillisecondsSinceTheStart) {
    thenNothingAfter(0ns, true);
    thenNothingAfter(999'999ns, true);
    thenNothingAfter(1ns, true);
    thenNothingAfter(1233'999'999ns, true);
    thenImage();
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(),
                ElementsAre("event 0", "event 0", "event 1", "event 1234", smallCapture));
}

TEST_F(CaptureTimeTest, Event_WithoutTheIndication_IsNotReported) {
    thenNothingAfter(5ms);
    thenImage();
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(smallCapture));
}

TEST_F(CaptureTimeTest, Event_TogetherWithBytes_IsNotReported) {
    const std::vector<Bytes> pieces = cut(captureBlock(smallImage), {10});
    factory.script.captureData.then(Chunk{pieces[0], false, true});
    factory.script.captureData.then(Chunk{pieces[1], false, true});
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(smallCapture));
}

TEST_F(CaptureTimeTest, Event_TheTimeThatStartCaptureTakes_DoesNotCount) {
    factory.script.during("startCapture", [this] { clock.advance(2s); });
    thenNothingAfter(3ms, true);
    thenImage();
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("event 3", smallCapture));
}

TEST_F(CaptureTimeTest, Timeout5000_LivesThroughExactly8000Milliseconds) {
    thenNothingAfter(8000ms, true);
    thenNothingAfter(999'999ns, true);
    thenImage();
    startCapture(5000);
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("event 8000", "event 8000", smallCapture));
}

TEST_F(CaptureTimeTest, Timeout5000_FailsAt8001Milliseconds) {
    thenNothingAfter(8000ms);
    thenNothingAfter(1ms);
    thenImage();
    startCapture(5000);
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 14 Timeout waiting for capture data"));
    EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll", "getCaptureData poll"));
}

TEST_F(CaptureTimeTest, Timeout_ComesBeforeTheEvent) {
    thenNothingAfter(8001ms, true);
    startCapture(5000);
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 14 Timeout waiting for capture data"));
}

TEST_F(CaptureTimeTest, Timeout0_LeavesTheScanner3000Milliseconds) {
    thenNothingAfter(3000ms, true);
    thenNothingAfter(1ms, true);
    startCapture(0);
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("event 3000", "error 14 Timeout waiting for capture data"));
}

TEST_F(CaptureTimeTest, Timeout_IsAddedAsA32BitNumber) {
    thenNothingAfter(2999ms, true);
    thenNothingAfter(1ms, true);
    startCapture(0xFFFFFFFF);
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("event 2999", "error 14 Timeout waiting for capture data"));
}

TEST_F(CaptureTimeTest, Timeout_IsNotLookedAtWhenBytesCome) {
    factory.script.captureData.then([this] {
        clock.advance(1h);
        return Chunk{captureBlock(smallImage)};
    });
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(smallCapture));
}

TEST_F(CaptureTimeTest, Timeout_InsideABlock_FailsWithoutDiscarding) {
    factory.script.captureData.thenBytes(announcing(100, 50));
    thenNothingAfter(8001ms);
    startCapture(5000);
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 14 Timeout waiting for capture data"));
    EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll", "getCaptureData wait"));
}

TEST_F(CaptureTimeTest, Timeout_IsLoggedAsThrown) {
    thenNothingAfter(8001ms);
    const LogRecorder log;
    startCapture(5000);
    waitForEnd();
    EXPECT_THAT(log.messages('E'),
                ElementsAre("Error 14 - Timeout waiting for capture data",
                            "Capture error 14/Timeout waiting for capture data"));
}

// ------------------------------------------------------------------------------------- stopping

TEST_F(CaptureWorkersTest, Stop_DuringACapture_SendsStopCaptureAndReportsNothing) {
    startCapture();
    factory.journal.waitFor("getCaptureData poll");
    device->stopCapture();
    EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll", "stopCapture"));
    EXPECT_THAT(reported(), IsEmpty());
    EXPECT_FALSE(device->isCaptureActive());
}

TEST_F(CaptureWorkersTest, Stop_InsideABlock_DiscardsOnePacketThenSendsStopCapture) {
    factory.script.captureData.thenBytes(announcing(100, 50));
    startCapture();
    factory.journal.waitFor("getCaptureData wait");
    device->stopCapture();
    EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll", "getCaptureData wait", "receive",
                                          "stopCapture"));
    EXPECT_THAT(reported(), IsEmpty());
}

TEST_F(CaptureWorkersTest, Stop_AfterTheCaptureHasEnded_DoesNothing) {
    capture({captureBlock(smallImage)});
    device->stopCapture();
    EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll"));
    EXPECT_THAT(reported(), ElementsAre(smallCapture));
}

TEST_F(CaptureWorkersTest, Stop_StopCaptureFails_IsReportedBeforeStopReturns) {
    failDuring("stopCapture", 9, "Timeout stoping capture.");
    startCapture();
    factory.journal.waitFor("getCaptureData poll");
    device->stopCapture();
    EXPECT_THAT(reported(), ElementsAre("error 9 Timeout stoping capture."));
    EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll", "stopCapture"));
    EXPECT_NO_THROW(device->checkReady());
}

TEST_F(CaptureWorkersTest, Stop_DuringAStream_SendsStopCaptureAndReportsNothing) {
    startStream();
    factory.journal.waitFor("getStreamData poll");
    device->stopCapture();
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", "stopCapture"));
    EXPECT_THAT(reported(), IsEmpty());
}

TEST_F(CaptureWorkersTest, Stop_DuringAStream_StopCaptureFails_IsReported) {
    failDuring("stopCapture", 13, "STOP CAPTURE: Failed (18) with error 5. ok");
    startStream();
    device->stopCapture();
    EXPECT_THAT(reported(), ElementsAre("error 13 STOP CAPTURE: Failed (18) with error 5. ok"));
}

TEST_F(CaptureWorkersTest, Stop_InsideAStreamBlock_DiscardsOnePacketThenSendsStopCapture) {
    // An empty answer would drop the block: it comes byte by byte, and when it is complete before
    // the stop arrives, another one begins.
    constexpr std::size_t length = 140000;
    bool stoppedInside = false;
    while (!stoppedInside) {
        factory.journal.clear();
        Gate stopping;
        std::size_t received = 0;
        const std::function<void()> thenNextChunk = [&] {
            factory.script.streamData.then([&] {
                stopping.pass();
                thenNextChunk();
                const std::size_t size = received == 0 ? 16 : 1;
                Bytes chunk = received == 0 ? announcing(length, size) : Bytes(size, 0);
                received = (received + size) % length;
                return Chunk{std::move(chunk)};
            });
        };
        thenNextChunk();
        startStream();
        stopping.open();
        device->stopCapture();
        static_cast<void>(factory.script.streamData.next());
        stoppedInside = received != 0;
        EXPECT_EQ(factory.journal.count("receive"), stoppedInside ? 1U : 0U);
        EXPECT_EQ(factory.journal.entries().back(), "stopCapture");
    }
}

TEST_F(CaptureWorkersTest, Stop_WhileAVerdictIsAwaited_SendsStopCapture) {
    factory.script.streamData.thenBytes(streamBlock(smallImage));
    startHostAssistedCapture();
    factory.journal.waitFor("ping");
    device->stopCapture();
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", "ping", "stopCapture"));
    EXPECT_EQ(reported().size(), 1U);
}

/// How often a race is run at most until the stop request has won it.
constexpr int raceRounds = 10000;

/// Requests a stop of the worker, which the gate holds back, and opens the gate at about the same
/// time. The worker has ended when it returns.
void stopAndRelease(RidgeDevice& session, Gate& gate) {
    Gate stopping;
    std::thread stopper([&] {
        stopping.open();
        session.stopCapture();
    });
    stopping.pass();
    std::this_thread::yield();
    gate.open();
    stopper.join();
}

struct StopRace {
    std::string name;
    std::function<void(RidgeDevice&, CaptureListener&)> start;
    ChunkScript CommandScript::*data;
    std::string poll;
};

class StopWithSerialErrorTest : public testing::TestWithParam<StopRace> {
protected:
    /// The port fails in the first poll while a stop is requested; true when the request came
    /// before the poll had ended.
    static bool stopWins() {
        FakeFactory factory;
        RecordingListener listener;
        Gate failing;
        (factory.script.*GetParam().data).then([&] {
            failing.pass();
            factory.failPort("unplugged");
            return Chunk{announcing(100, 50)};
        });
        RidgeDevice session("COM7", factory);
        GetParam().start(session, listener);
        factory.journal.waitFor(GetParam().poll);
        stopAndRelease(session, failing);
        if (factory.journal.entries().back() != "stopCapture") {
            return false;
        }
        EXPECT_TRUE(session.hasSerialError());
        EXPECT_TRUE(session.isConnected());
        EXPECT_EQ(factory.journal.count("receive"), 0U);
        EXPECT_THAT(listener.events.entries(), IsEmpty());
        return true;
    }
};

TEST_P(StopWithSerialErrorTest, IsLookedAtFirst) {
    bool won = false;
    for (int round = 0; round < raceRounds && !won; ++round) {
        won = stopWins();
    }
    EXPECT_TRUE(won);
}

INSTANTIATE_TEST_SUITE_P(
    Workers, StopWithSerialErrorTest,
    testing::Values(StopRace{"Capture",
                             [](RidgeDevice& session, CaptureListener& listener) {
                                 session.startCapture(0, 0, 0, nullptr, listener);
                             },
                             &CommandScript::captureData, "getCaptureData poll"},
                    StopRace{"Stream",
                             [](RidgeDevice& session, CaptureListener& listener) {
                                 session.startStream(nullptr, listener);
                             },
                             &CommandScript::streamData, "getStreamData poll"}),
    [](const testing::TestParamInfo<StopRace>& test) { return test.param.name; });

TEST_F(CaptureWorkersTest, Stop_DuringTheLastCallback_SendsStopCaptureAfterIt) {
    factory.script.during("stopCapture", [this] { listener.events.add("stopCapture"); });
    bool won = false;
    for (int round = 0; round < raceRounds && !won; ++round) {
        factory.journal.clear();
        listener.events.clear();
        Gate delivering;
        listener.duringComplete = [&] {
            delivering.pass();
            listener.events.add("delivered");
        };
        factory.script.captureData.thenBytes(captureBlock(smallImage));
        startCapture();
        listener.events.waitFor(smallCapture);
        stopAndRelease(*device, delivering);
        won = factory.journal.entries().back() == "stopCapture";
    }
    ASSERT_TRUE(won);
    EXPECT_THAT(reported(), ElementsAre(smallCapture, "delivered", "stopCapture"));
    EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll", "stopCapture"));
}

// --------------------------------------------------------------------------------- serial error

TEST_F(CaptureWorkersTest, SerialError_DuringACapture_ReleasesTheSessionThenReports) {
    factory.script.captureData.then([this] {
        factory.failPort("80 % gone.\r\n");
        return Chunk{};
    });
    listener.duringError = [this] {
        EXPECT_FALSE(device->isConnected());
        EXPECT_THAT(afterStart(), ElementsAre("getCaptureData poll", "destroy commands",
                                              "destroy packet handler"));
    };
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 5 Serial port error. 80 % gone.\r\n"));
    EXPECT_THAT(afterStart(),
                ElementsAre("getCaptureData poll", "destroy commands", "destroy packet handler"));
    EXPECT_THAT([this] { device->checkReady(); },
                throwsRidgeException(11, "Device is not connected!"));
    EXPECT_THAT([this] { startCapture(); }, throwsRidgeException(11, "Device is not connected!"));
}

TEST_F(CaptureWorkersTest, SerialError_InsideABlock_DiscardsNothing) {
    factory.script.captureData.then([this] {
        factory.failPort("unplugged");
        return Chunk{announcing(100, 50)};
    });
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 5 Serial port error. unplugged"));
    EXPECT_THAT(afterStart(),
                ElementsAre("getCaptureData poll", "destroy commands", "destroy packet handler"));
}

TEST_F(CaptureWorkersTest, SerialError_DuringTheStartCommand_EndsBeforeTheFirstPoll) {
    factory.script.during("startCapture", [this] { factory.failPort("unplugged"); });
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 5 Serial port error. unplugged"));
    EXPECT_THAT(afterStart(), ElementsAre("destroy commands", "destroy packet handler"));
}

TEST_F(CaptureWorkersTest, SerialError_TheLatestTextIsReported) {
    factory.script.captureData.then([this] {
        factory.failPort("first");
        factory.failPort("second");
        return Chunk{};
    });
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 5 Serial port error. second"));
}

TEST_F(CaptureWorkersTest, SerialError_CommandThatFailsToo_IsWhatIsReported) {
    factory.script.captureData.then([this]() -> Chunk {
        factory.failPort("unplugged");
        throw RIDGE_EXCEPTION(9, "Timeout checking for capture result.");
    });
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 9 Timeout checking for capture result."));
    EXPECT_TRUE(device->isConnected());
    EXPECT_THAT([this] { device->checkReady(); },
                throwsRidgeException(5, "Serial port error detected. unplugged"));
}

TEST_F(CaptureWorkersTest, SerialError_WithTheLastChunk_StillDeliversTheImage) {
    factory.script.captureData.then([this] {
        factory.failPort("unplugged");
        return Chunk{captureBlock(smallImage)};
    });
    startCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(smallCapture));
    EXPECT_TRUE(device->isConnected());
}

TEST_F(CaptureWorkersTest, SerialError_LogsTheWorkersEndWithoutAFailureLine) {
    const LogRecorder log;
    factory.script.captureData.then([this] {
        factory.failPort("unplugged");
        return Chunk{};
    });
    startCapture();
    waitForEnd();
    EXPECT_THAT(log.messages('E'), ElementsAre("Serial port error detected. unplugged"));
    EXPECT_THAT(log.messages('I'),
                ElementsAre("Capture thread active", "Stream mode:N", "Capture thread completed"));
}

TEST_F(CaptureWorkersTest, SerialError_DuringAStream_ReleasesTheSessionThenReports) {
    factory.script.streamData.then([this] {
        factory.failPort("unplugged");
        return Chunk{announcing(100, 50)};
    });
    startStream();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 5 Serial port error. unplugged"));
    EXPECT_THAT(afterStart(),
                ElementsAre("getStreamData poll", "destroy commands", "destroy packet handler"));
    EXPECT_FALSE(device->isConnected());
}

TEST_F(CaptureWorkersTest, SerialError_WhileAVerdictIsAwaited_ReleasesTheSessionThenReports) {
    factory.script.streamData.thenBytes(streamBlock(smallImage));
    factory.script.during("ping", [this] { factory.failPort("unplugged"); });
    startHostAssistedCapture();
    waitForEnd();
    EXPECT_EQ(reported().back(), "error 5 Serial port error. unplugged");
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", "ping", "destroy commands",
                                          "destroy packet handler"));
}

TEST_F(CaptureWorkersTest, SerialError_AfterAcceptance_ReleasesTheSessionThenReports) {
    factory.script.streamData.thenBytes(streamBlock(smallImage));
    listener.duringComplete = [this] { device->setHostAssistedCaptureResult(1); };
    factory.script.captureData.then([this] {
        factory.failPort("unplugged");
        return Chunk{announcing(100, 50)};
    });
    startHostAssistedCapture();
    waitForEnd();
    EXPECT_EQ(reported().back(), "error 5 Serial port error. unplugged");
    EXPECT_EQ(factory.journal.count("receive"), 0U);
    EXPECT_EQ(factory.journal.count("stopCapture"), 0U);
    EXPECT_FALSE(device->isConnected());
}

// --------------------------------------------------------------------------------------- stream

TEST_F(CaptureWorkersTest, Stream_DeliversImageAfterImageUntilStopped) {
    for (int image = 0; image < 3; ++image) {
        factory.script.streamData.thenBytes(streamBlock(smallImage));
    }
    startStream();
    listener.events.waitFor(smallStreamImage, 3);
    device->stopCapture();
    EXPECT_THAT(reported(), ElementsAre(smallStreamImage, smallStreamImage, smallStreamImage));
    EXPECT_EQ(factory.journal.count("ping"), 0U);
    EXPECT_EQ(factory.journal.entries().back(), "stopCapture");
}

TEST_F(CaptureWorkersTest, Stream_InSeveralChunks_IsDeliveredOnceAndPolledOnce) {
    for (const Bytes& chunk : cut(streamBlock(smallImage), {5, 16})) {
        factory.script.streamData.thenBytes(chunk);
    }
    Gate gate;
    listener.duringComplete = [&gate] { gate.pass(); };
    startStream();
    listener.events.waitFor(smallStreamImage);
    EXPECT_THAT(afterStart(),
                ElementsAre("getStreamData poll", "getStreamData wait", "getStreamData wait"));
    gate.open();
    device->stopCapture();
    EXPECT_THAT(reported(), ElementsAre(smallStreamImage));
}

TEST_F(CaptureWorkersTest, Stream_BytesBehindTheImage_AreIgnored) {
    factory.script.streamData.thenBytes(streamBlock(smallImage, {0xE0, 0xE1, 0xE2}));
    startStream();
    listener.events.waitFor(smallStreamImage);
    device->stopCapture();
    EXPECT_THAT(reported(), ElementsAre(smallStreamImage));
}

TEST_F(CaptureWorkersTest, Stream_Flags_CCountsOnlyTogetherWithBAndOthersAreIgnored) {
    const std::array<std::string, 8> expected{"000", "100", "010", "110",
                                              "000", "100", "011", "111"};
    std::vector<std::string> images;
    for (std::uint32_t flags = 0; flags < 8; ++flags) {
        factory.script.streamData.thenBytes(
            streamBlock({0xFFFFFFF8 | flags, 65535, 65534, {0x55}, 0, {}}));
        images.push_back("image ABC=" + expected[flags] + " 65535x65534 [55] extra=0 trailer=[]");
    }
    factory.script.streamData.thenBytes(streamBlock({0, 1, 1, {0x77}, 0, {}}));
    startStream();
    listener.events.waitFor("image ABC=000 1x1 [77] extra=0 trailer=[]");
    device->stopCapture();
    images.emplace_back("image ABC=000 1x1 [77] extra=0 trailer=[]");
    EXPECT_THAT(reported(), ElementsAreArray(images));
}

TEST_F(CaptureWorkersTest, Stream_EmptyAnswerInsideABlock_DropsItAndBeginsAnew) {
    factory.script.streamData.thenBytes(announcing(100, 50));
    factory.script.streamData.then(Chunk{});
    for (const Bytes& chunk : cut(streamBlock(smallImage), {10})) {
        factory.script.streamData.thenBytes(chunk);
    }
    Gate gate;
    listener.duringComplete = [&gate] { gate.pass(); };
    startStream();
    listener.events.waitFor(smallStreamImage);
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", "getStreamData wait",
                                          "getStreamData poll", "getStreamData wait"));
    gate.open();
    device->stopCapture();
    EXPECT_THAT(reported(), ElementsAre(smallStreamImage));
}

TEST_F(CaptureWorkersTest, Stream_AfterADroppedBlock_TheFirstChunkIsCheckedAgain) {
    stream({announcing(100, 50), {}, announcing(100, 4)});
    EXPECT_THAT(reported(), ElementsAre("error 10 Invalid stream data header length 4"));
}

TEST_F(CaptureWorkersTest, Stream_StoppedAfterADroppedBlock_DiscardsNothing) {
    factory.script.streamData.thenBytes(announcing(100, 50));
    factory.script.streamData.then(Chunk{});
    startStream();
    factory.journal.waitFor("getStreamData poll", 2);
    device->stopCapture();
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", "getStreamData wait",
                                          "getStreamData poll", "stopCapture"));
}

class UnparsableStreamTest : public CaptureWorkersTest,
                             public testing::WithParamInterface<MalformedCase> {};

TEST_P(UnparsableStreamTest, IsReportedAndTheStreamGoesOn) {
    for (const Bytes& chunk : GetParam().chunks) {
        factory.script.streamData.thenBytes(chunk);
    }
    factory.script.streamData.thenBytes(streamBlock(smallImage));
    const LogRecorder log;
    startStream();
    listener.events.waitFor(smallStreamImage);
    device->stopCapture();
    EXPECT_THAT(reported(), ElementsAre(GetParam().report, smallStreamImage));
    EXPECT_THAT(log.messages('E'),
                ElementsAre("Failed to parse capture data received from device"));
}

/// A stream block of `size` bytes that claims an image of this length.
Bytes streamBlockClaiming(std::size_t size, std::uint32_t imageLength) {
    Bytes block(size, 0);
    Bytes number;
    appendBigEndian32(number, imageLength);
    std::copy(number.begin(), number.end(), block.begin() + 12);
    return blockOf(block);
}

INSTANTIATE_TEST_SUITE_P(Contents, UnparsableStreamTest,
                         testing::Values(MalformedCase{"BlockOf16Bytes",
                                                       {streamBlock({})},
                                                       "error 10 Invalid capture data"},
                                         MalformedCase{"BlockOf16BytesInTwoChunks",
                                                       cut(streamBlock({}), {15}),
                                                       "error 10 Invalid capture data"},
                                         MalformedCase{"WithoutImage",
                                                       {streamBlockClaiming(24, 0)},
                                                       "error 10 Invalid capture data"},
                                         MalformedCase{"ImageLongerThanTheBlock",
                                                       {streamBlockClaiming(24, 9)},
                                                       "error 10 Invalid capture data"},
                                         MalformedCase{"ImageLengthAllOnes",
                                                       {streamBlockClaiming(24, 0xFFFFFFFF)},
                                                       "error 10 Invalid capture data"},
                                         MalformedCase{"ImageLengthThatWrapsAround",
                                                       {streamBlockClaiming(24, 0xFFFFFFF0)},
                                                       "error 10 Invalid capture data"}),
                         malformedName);

TEST_F(CaptureWorkersTest, Stream_BlockOf17Bytes_IsTheSmallestThatParses) {
    factory.script.streamData.thenBytes(streamBlock({0, 1, 1, {0x77}, 0, {}}));
    startStream();
    listener.events.waitFor("image ABC=000 1x1 [77] extra=0 trailer=[]");
    device->stopCapture();
    EXPECT_EQ(reported().size(), 1U);
}

TEST_F(CaptureWorkersTest, Stream_BlockOf140000Bytes_IsDelivered) {
    const BlockContent content{0, 1, 1, Bytes(139984, 0x55), 0, {}};
    const Bytes block = streamBlock(content);
    ASSERT_EQ(block.size(), 140000U);
    for (const Bytes& chunk : cut(block, {10000, 20000, 130000})) {
        factory.script.streamData.thenBytes(chunk);
    }
    startStream();
    listener.events.waitFor("image ABC=000 1x1 [" + hexText(content.image) +
                            "] extra=0 trailer=[]");
    device->stopCapture();
    EXPECT_EQ(reported().size(), 1U);
}

class MalformedStreamTest : public CaptureWorkersTest,
                            public testing::WithParamInterface<MalformedCase> {};

TEST_P(MalformedStreamTest, FailsAndEndsWithoutStopCapture) {
    stream(GetParam().chunks);
    EXPECT_THAT(reported(), ElementsAre(GetParam().report));
    std::vector<std::string> expected{"getStreamData poll"};
    expected.resize(GetParam().chunks.size(), "getStreamData wait");
    EXPECT_THAT(afterStart(), ElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(
    Lengths, MalformedStreamTest,
    testing::Values(
        MalformedCase{"FirstChunkOf1Byte",
                      {announcing(100, 1)},
                      "error 10 Invalid stream data header length 1"},
        MalformedCase{"FirstChunkOf4Bytes",
                      {announcing(100, 4)},
                      "error 10 Invalid stream data header length 4"},
        MalformedCase{"Announced0", {announcing(0, 5)}, "error 10 Invalid stream data length 0"},
        MalformedCase{
            "Announced15", {announcing(15, 15)}, "error 10 Invalid stream data length 15"},
        MalformedCase{"Announced140001",
                      {announcing(140001, 5)},
                      "error 10 Invalid stream data length 140001"},
        MalformedCase{"AnnouncedAllOnes",
                      {announcing(0xFFFFFFFF, 5)},
                      "error 10 Invalid stream data length -1"},
        MalformedCase{
            "FirstChunkTooLong", {announcing(16, 17)}, "error 10 Invalid stream data length 16/17"},
        MalformedCase{"LaterChunkTooLong",
                      {announcing(30, 20), Bytes(10000, 0)},
                      "error 10 Invalid stream data length 30/10020"}),
    malformedName);

TEST_F(CaptureWorkersTest, Stream_CommandFails_ReportsItsFailureWithoutStopCapture) {
    factory.script.streamData.then(
        []() -> Chunk { throw RIDGE_EXCEPTION(9, "Timeout checking for stream data."); });
    startStream();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 9 Timeout checking for stream data."));
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll"));
}

TEST_F(CaptureWorkersTest, Stream_VerdictsMeanNothingToIt) {
    factory.script.streamData.then([this] {
        device->setHostAssistedCaptureResult(1);
        return Chunk{streamBlock(smallImage)};
    });
    factory.script.streamData.thenBytes(streamBlock(smallImage));
    startStream();
    listener.events.waitFor(smallStreamImage, 2);
    device->stopCapture();
    EXPECT_EQ(factory.journal.count("ping"), 0U);
    EXPECT_EQ(reported().size(), 2U);
}

// ------------------------------------------------------------------------ host-assisted capture

class HostAssistedCaptureTest : public CaptureWorkersTest {
protected:
    HostAssistedCaptureTest() {
        const std::string mask = hexText(countingMask());
        accepted = "sendHostAssistedCaptureResult accepted=1 mask=" + mask;
        rejected = "sendHostAssistedCaptureResult accepted=0 mask=" + mask;
    }

    /// An image of one byte, 0x77 once it is unmasked.
    static Bytes previewBlock() { return streamBlock({0, 1, 1, {0x77 ^ 0x80}, 0, {}}); }

    static constexpr const char* preview = "image ABC=000 1x1 [77] extra=0 trailer=[]";

    void thenPreview() { factory.script.streamData.thenBytes(previewBlock()); }

    /// Gives the verdicts one after the other, one with each image, from inside the callback.
    void judge(std::vector<std::uint8_t> verdicts) {
        verdictsToGive = std::move(verdicts);
        listener.duringComplete = [this] {
            if (!verdictsToGive.empty()) {
                device->setHostAssistedCaptureResult(verdictsToGive.front());
                verdictsToGive.erase(verdictsToGive.begin());
            }
        };
    }

    std::string accepted;
    std::string rejected;
    std::vector<std::uint8_t> verdictsToGive;
};

TEST_F(HostAssistedCaptureTest, Accepted_WaitsForTheCaptureBlockAndEnds) {
    thenPreview();
    judge({1});
    factory.script.captureData.then(Chunk{});
    factory.script.captureData.thenBytes(captureBlock(smallImage));
    startHostAssistedCapture();
    waitForEnd();
    // The final block is not masked.
    EXPECT_THAT(reported(), ElementsAre(preview, smallCapture));
    EXPECT_THAT(
        factory.journal.entries(),
        ElementsAre("startHostAssistedCapture mode=1 parameter=2 block=", "getStreamData poll",
                    accepted, "getCaptureData poll", "getCaptureData poll"));
}

TEST_F(HostAssistedCaptureTest, Accepted_CaptureBlockInChunks_IsPolledOnce) {
    thenPreview();
    judge({1});
    for (const Bytes& chunk : cut(captureBlock(smallImage), {5, 20})) {
        factory.script.captureData.thenBytes(chunk);
    }
    startHostAssistedCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(preview, smallCapture));
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", accepted, "getCaptureData poll",
                                          "getCaptureData wait", "getCaptureData wait"));
}

TEST_F(HostAssistedCaptureTest, Rejected_ResumesStreamingInTheSamePass) {
    thenPreview();
    thenPreview();
    judge({0, 1});
    factory.script.captureData.thenBytes(captureBlock(smallImage));
    startHostAssistedCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(preview, preview, smallCapture));
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", rejected, "getStreamData poll",
                                          accepted, "getCaptureData poll"));
}

TEST_F(HostAssistedCaptureTest, Rejected_AsksForTheNextImageBeforeItLooksAtThePort) {
    thenPreview();
    judge({0});
    factory.script.during("sendHostAssistedCaptureResult",
                          [this] { factory.failPort("unplugged"); });
    startHostAssistedCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(preview, "error 5 Serial port error. unplugged"));
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", rejected, "getStreamData poll",
                                          "destroy commands", "destroy packet handler"));
}

TEST_F(HostAssistedCaptureTest, Accepted_LooksAtThePortBeforeItAsksForTheCapture) {
    thenPreview();
    judge({1});
    factory.script.during("sendHostAssistedCaptureResult",
                          [this] { factory.failPort("unplugged"); });
    startHostAssistedCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(preview, "error 5 Serial port error. unplugged"));
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", accepted, "destroy commands",
                                          "destroy packet handler"));
}

TEST_F(HostAssistedCaptureTest, Awaiting_PingsUntilTheVerdictComes) {
    thenPreview();
    factory.script.captureData.thenBytes(captureBlock(smallImage));
    startHostAssistedCapture();
    factory.journal.waitFor("ping");
    device->setHostAssistedCaptureResult(1);
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(preview, smallCapture));
    EXPECT_THAT(afterStart(),
                ElementsAre("getStreamData poll", "ping", accepted, "getCaptureData poll"));
}

TEST_F(HostAssistedCaptureTest, Awaiting_RejectionFromAnotherThread_ResumesStreaming) {
    thenPreview();
    startHostAssistedCapture();
    factory.journal.waitFor("ping");
    device->setHostAssistedCaptureResult(0);
    factory.journal.waitFor("getStreamData poll", 2);
    device->stopCapture();
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", "ping", rejected,
                                          "getStreamData poll", "stopCapture"));
    EXPECT_THAT(reported(), ElementsAre(preview));
}

TEST_F(HostAssistedCaptureTest, Verdict255_Accepts) {
    thenPreview();
    judge({255});
    factory.script.captureData.thenBytes(captureBlock(smallImage));
    startHostAssistedCapture();
    waitForEnd();
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", accepted, "getCaptureData poll"));
}

TEST_F(HostAssistedCaptureTest, Verdict2_IsAVerdictStillAwaited) {
    thenPreview();
    judge({2});
    factory.script.captureData.thenBytes(captureBlock(smallImage));
    startHostAssistedCapture();
    factory.journal.waitFor("ping");
    device->setHostAssistedCaptureResult(2);
    device->setHostAssistedCaptureResult(3);
    waitForEnd();
    EXPECT_THAT(afterStart(),
                ElementsAre("getStreamData poll", "ping", accepted, "getCaptureData poll"));
}

TEST_F(HostAssistedCaptureTest, VerdictGivenBeforeTheImageArrives_IsOverwritten) {
    factory.script.streamData.then([this] {
        device->setHostAssistedCaptureResult(1);
        return Chunk{previewBlock()};
    });
    startHostAssistedCapture();
    factory.journal.waitFor("ping");
    device->stopCapture();
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", "ping", "stopCapture"));
}

TEST_F(HostAssistedCaptureTest, VerdictOfAnEarlierCapture_DoesNotCount) {
    device->setHostAssistedCaptureResult(1);
    // An image that cannot be parsed leaves the verdict as it is.
    factory.script.streamData.thenBytes(streamBlock({}));
    startHostAssistedCapture();
    factory.journal.waitFor("ping");
    device->stopCapture();
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", "ping", "stopCapture"));
}

TEST_F(HostAssistedCaptureTest, VerdictWithTheFirstCommand_CountsForNoImage) {
    factory.script.during("startHostAssistedCapture",
                          [this] { device->setHostAssistedCaptureResult(0); });
    thenPreview();
    startHostAssistedCapture();
    factory.journal.waitFor("ping");
    device->stopCapture();
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", "ping", "stopCapture"));
}

class HostAssistedMaskTest : public HostAssistedCaptureTest,
                             public testing::WithParamInterface<std::size_t> {};

TEST_P(HostAssistedMaskTest, ImagesAreUnmaskedCyclically) {
    const Bytes image = countingBytes(GetParam());
    factory.script.streamData.thenBytes(
        streamBlock({0x2, 5, 6, masked(image, countingMask()), 0, {}}, {0xE0}));
    startHostAssistedCapture();
    factory.journal.waitFor("ping");
    device->stopCapture();
    EXPECT_THAT(reported(),
                ElementsAre("image ABC=010 5x6 [" + hexText(image) + "] extra=0 trailer=[]"));
}

INSTANTIATE_TEST_SUITE_P(Sizes, HostAssistedMaskTest,
                         testing::Values(1U, 63U, 64U, 65U, 128U, 130U, 139983U));

class HostAssistedMaskInChunksTest : public HostAssistedCaptureTest,
                                     public testing::WithParamInterface<std::size_t> {};

TEST_P(HostAssistedMaskInChunksTest, RunsOverTheImageAndNotOverTheChunk) {
    const Bytes image = countingBytes(150);
    const Bytes block = streamBlock({0, 10, 15, masked(image, countingMask()), 0, {}});
    std::vector<std::size_t> positions;
    for (std::size_t position = GetParam(); position < block.size(); position += GetParam()) {
        positions.push_back(position);
    }
    for (const Bytes& chunk : cut(block, positions)) {
        factory.script.streamData.thenBytes(chunk);
    }
    startHostAssistedCapture();
    factory.journal.waitFor("ping");
    device->stopCapture();
    EXPECT_EQ(factory.journal.count("getStreamData wait"), positions.size());
    EXPECT_THAT(reported(),
                ElementsAre("image ABC=000 10x15 [" + hexText(image) + "] extra=0 trailer=[]"));
}

INSTANTIATE_TEST_SUITE_P(Sizes, HostAssistedMaskInChunksTest, testing::Values(5U, 16U, 40U));

TEST_F(HostAssistedCaptureTest, Mask_LiteralBytes) {
    factory.script.mask = {};
    factory.script.mask[0] = 0x0F;
    factory.script.mask[1] = 0xF0;
    Bytes image(66, 0x55);
    factory.script.streamData.thenBytes(streamBlock({0, 1, 1, image, 0, {}}));
    image[0] = 0x5A;
    image[1] = 0xA5;
    image[64] = 0x5A;
    image[65] = 0xA5;
    startHostAssistedCapture();
    factory.journal.waitFor("ping");
    device->stopCapture();
    EXPECT_THAT(reported(),
                ElementsAre("image ABC=000 1x1 [" + hexText(image) + "] extra=0 trailer=[]"));
}

TEST_F(HostAssistedCaptureTest, Accepted_EventsAndTimeAreNotLookedAt) {
    ManualClock clock;
    thenPreview();
    judge({1});
    factory.script.captureData.then([&clock] {
        clock.advance(24h);
        return Chunk{{}, false, true};
    });
    factory.script.captureData.thenBytes(captureBlock(smallImage));
    startHostAssistedCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(preview, smallCapture));
}

TEST_F(HostAssistedCaptureTest, Accepted_ScannerTimesOut_IsReportedAndEnds) {
    thenPreview();
    judge({1});
    factory.script.captureData.then(Chunk{{}, true, false});
    startHostAssistedCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(preview, "error 7 Capture timeout"));
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", accepted, "getCaptureData poll"));
}

TEST_F(HostAssistedCaptureTest, Accepted_UnparsableBlock_IsReportedAndEnds) {
    thenPreview();
    judge({1});
    factory.script.captureData.thenBytes(captureBlock({}));
    startHostAssistedCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(preview, "error 10 Invalid capture data"));
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", accepted, "getCaptureData poll"));
}

TEST_F(HostAssistedCaptureTest, Accepted_BlockOf18Bytes_FailsAsACaptureBlock) {
    thenPreview();
    judge({1});
    factory.script.captureData.thenBytes(announcing(18, 18));
    startHostAssistedCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(preview, "error 10 Invalid captured data length 18"));
}

TEST_F(HostAssistedCaptureTest, Accepted_StopInsideTheBlock_DiscardsOnePacketThenStops) {
    thenPreview();
    judge({1});
    factory.script.captureData.thenBytes(announcing(100, 50));
    startHostAssistedCapture();
    factory.journal.waitFor("getCaptureData wait");
    device->stopCapture();
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", accepted, "getCaptureData poll",
                                          "getCaptureData wait", "receive", "stopCapture"));
    EXPECT_THAT(reported(), ElementsAre(preview));
}

TEST_F(HostAssistedCaptureTest, Accepted_StopBetweenBlocks_SendsStopCapture) {
    thenPreview();
    judge({1});
    startHostAssistedCapture();
    factory.journal.waitFor("getCaptureData poll");
    device->stopCapture();
    EXPECT_THAT(afterStart(),
                ElementsAre("getStreamData poll", accepted, "getCaptureData poll", "stopCapture"));
}

TEST_F(HostAssistedCaptureTest, UnparsableImage_IsReportedAndAVerdictIsAwaited) {
    factory.script.streamData.thenBytes(streamBlock({}));
    thenPreview();
    startHostAssistedCapture();
    factory.journal.waitFor("ping");
    device->setHostAssistedCaptureResult(0);
    listener.events.waitFor(preview);
    device->stopCapture();
    EXPECT_THAT(reported(), ElementsAre("error 10 Invalid capture data", preview));
}

TEST_F(HostAssistedCaptureTest, UnparsableImageAfterARejection_IsRejectedByTheSameVerdict) {
    thenPreview();
    factory.script.streamData.thenBytes(streamBlock({}));
    thenPreview();
    judge({0, 1});
    factory.script.captureData.thenBytes(captureBlock(smallImage));
    startHostAssistedCapture();
    waitForEnd();
    EXPECT_THAT(reported(),
                ElementsAre(preview, "error 10 Invalid capture data", preview, smallCapture));
    EXPECT_THAT(afterStart(),
                ElementsAre("getStreamData poll", rejected, "getStreamData poll", rejected,
                            "getStreamData poll", accepted, "getCaptureData poll"));
}

TEST_F(HostAssistedCaptureTest, Streaming_BadLength_FailsAsAStreamBlock) {
    factory.script.streamData.thenBytes(announcing(15, 15));
    startHostAssistedCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre("error 10 Invalid stream data length 15"));
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll"));
}

TEST_F(HostAssistedCaptureTest, PingFails_IsReportedAndEnds) {
    thenPreview();
    failDuring("ping", 9, "Timeout pinging device.");
    startHostAssistedCapture();
    waitForEnd();
    EXPECT_THAT(reported(), ElementsAre(preview, "error 9 Timeout pinging device."));
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", "ping"));
}

TEST_F(HostAssistedCaptureTest, SendingTheVerdictFails_IsReportedAndEnds) {
    thenPreview();
    judge({1});
    failDuring("sendHostAssistedCaptureResult", 9, "Timeout sending host assisted capture result.");
    startHostAssistedCapture();
    waitForEnd();
    EXPECT_THAT(reported(),
                ElementsAre(preview, "error 9 Timeout sending host assisted capture result."));
    EXPECT_THAT(afterStart(), ElementsAre("getStreamData poll", accepted));
}

TEST_F(HostAssistedCaptureTest, EventsAreNotAskedFor) {
    bool asked = false;
    listener.duringIsEventEnabled = [&asked] { asked = true; };
    startHostAssistedCapture();
    device->stopCapture();
    startStream();
    device->stopCapture();
    EXPECT_FALSE(asked);
}

} // namespace
} // namespace ridge
