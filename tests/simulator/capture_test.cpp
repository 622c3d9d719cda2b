#include "scannerline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace ridge::simulator::test {

namespace {

constexpr const char* startWith5000ms = "7E 01 00 0A 10 01 00 00 13 88 00 00 00 00 4A 7F";
constexpr const char* startWithEvents = "7E 01 00 0A 10 01 00 00 13 88 00 00 00 08 42 7F";
constexpr const char* startWithoutTimeout = "7E 01 00 0A 10 01 00 00 00 00 00 00 00 00 E5 7F";
constexpr const char* started = "7E 81 00 01 10 EF 7F";
constexpr const char* poll = "7E 01 00 01 11 EE 7F";
constexpr const char* acknowledgement = "7E 81 00 01 11 EE 7F";
constexpr const char* stop = "7E 01 00 01 12 ED 7F";
constexpr const char* stopped = "7E 81 00 01 12 ED 7F";
constexpr const char* nothingReady =
    "7E 81 00 11 91 07 00 0D 4E 6F 74 68 69 6E 67 20 72 65 61 64 79 3E 7F";
constexpr const char* timedOut =
    "7E 81 00 13 91 09 00 0F 43 61 70 74 75 72 65 20 74 69 6D 65 6F 75 74 49 7F";
constexpr const char* captureEvent =
    "7E 81 00 11 91 0C 00 0D 43 61 70 74 75 72 65 20 65 76 65 6E 74 2F 7F";
constexpr const char* wrongState =
    "7E 81 00 1E 91 04 00 1A 4E 6F 74 20 70 6F 73 73 69 62 6C 65 20 69 6E 20 74 68 69 73 20 73 74 "
    "61 74 65 71 7F";
constexpr const char* announcementAndBlock =
    "7E 81 00 01 11 EE 7F "
    "7E 81 00 1C 11 00 00 00 1B 00 00 00 03 00 02 00 03 00 00 00 06 00 7D 5E 7D 5F 7D 5D 80 FF 64 "
    "00 02 AA BB E6 7F";
constexpr const char* announcementAndFirst16 =
    "7E 81 00 01 11 EE 7F "
    "7E 81 00 11 11 00 00 00 1B 00 00 00 03 00 02 00 03 00 00 00 06 B5 7F";
constexpr const char* remaining11 =
    "7E 81 00 0C 11 00 7D 5E 7D 5F 7D 5D 80 FF 64 00 02 AA BB 1F 7F";

ScannerConfig inTwoChunks() {
    ScannerConfig config = tinyConfig();
    config.chunkSize = 16;
    return config;
}

ScannerConfig withoutFinger() {
    ScannerConfig config = tinyConfig();
    config.finger.delay.reset();
    return config;
}

} // namespace

TEST(Capture, Start_IsRemembered) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 0A 10 0A 00 00 75 30 00 00 00 09 2E 7F"), started);
    const CaptureRequest& request = line.scanner.captureRequest();
    EXPECT_EQ(request.mode, 10);
    EXPECT_EQ(request.timeout, milliseconds(30000));
    EXPECT_EQ(request.parameter, 9U);
    EXPECT_TRUE(request.eventsWanted);
    EXPECT_TRUE(request.block.empty());
    EXPECT_EQ(line.scanner.activity(), Activity::capture);
}

TEST(Capture, StartWithBlock_RemembersThe256Bytes) {
    ScannerLine line;
    std::string start = "7E 01 01 0A 10 01 00 00 13 88 00 00 00 00";
    for (int i = 0; i < 256; ++i) {
        start += " 55";
    }
    EXPECT_EQ(line.send(start + " 49 7F"), started);
    EXPECT_EQ(line.scanner.captureRequest().block, std::vector<std::uint8_t>(256, 0x55));
}

TEST(Capture, Mode11_IsRefused) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 0A 10 0B 00 00 13 88 00 00 00 00 40 7F"),
              "7E 81 00 15 90 03 00 11 49 6E 76 61 6C 69 64 20 70 61 72 61 6D 65 74 65 72 9F 7F");
    EXPECT_EQ(line.scanner.activity(), Activity::idle);
}

TEST(Capture, TimeoutAbove30000_IsRefused) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 0A 10 01 00 00 75 31 00 00 00 00 3F 7F"),
              "7E 81 00 15 90 03 00 11 49 6E 76 61 6C 69 64 20 70 61 72 61 6D 65 74 65 72 9F 7F");
}

TEST(Capture, StartOfTheWrongLength_IsRefused) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 02 10 01 ED 7F"),
              "7E 81 00 1A 90 02 00 16 49 6E 76 61 6C 69 64 20 70 61 79 6C 6F 61 64 20 6C 65 6E 67 "
              "74 68 CB 7F");
}

TEST(Capture, PollWithoutStart_IsRefused) {
    ScannerLine line;
    EXPECT_EQ(line.send(poll), wrongState);
}

TEST(Capture, PollBeforeTheFinger_IsAnsweredAfterTheHold) {
    ScannerLine line;
    line.send(startWith5000ms);
    EXPECT_EQ(line.send(poll), "");
    EXPECT_EQ(line.scanner.nextDeadline(), milliseconds(20));
    EXPECT_EQ(line.wait(milliseconds(19)), "");
    EXPECT_EQ(line.wait(milliseconds(1)), nothingReady);
    EXPECT_EQ(line.scanner.nextDeadline(), std::nullopt);
}

TEST(Capture, HeldPoll_IsAnsweredAtOnceWhenTheImageIsReady) {
    ScannerLine line;
    line.send(startWith5000ms);
    line.wait(milliseconds(140));
    EXPECT_EQ(line.send(poll), "");
    EXPECT_EQ(line.scanner.nextDeadline(), milliseconds(150));
    EXPECT_EQ(line.wait(milliseconds(10)), announcementAndBlock);
}

TEST(Capture, AcknowledgedBlock_EndsTheCapture) {
    ScannerLine line;
    line.send(startWith5000ms);
    line.wait(milliseconds(150));
    EXPECT_EQ(line.send(poll), announcementAndBlock);
    EXPECT_EQ(line.scanner.activity(), Activity::capture);
    EXPECT_EQ(line.send(acknowledgement), "");
    EXPECT_EQ(line.scanner.activity(), Activity::idle);
    EXPECT_EQ(line.scanner.deliveredImages(), 1U);
}

TEST(Capture, SecondChunk_WaitsForTheAcknowledgement) {
    ScannerLine line(inTwoChunks());
    line.send(startWith5000ms);
    line.wait(milliseconds(150));
    EXPECT_EQ(line.send(poll), announcementAndFirst16);
    EXPECT_EQ(line.wait(milliseconds(60000)), "");
    EXPECT_EQ(line.send(acknowledgement), remaining11);
    EXPECT_EQ(line.send(acknowledgement), "");
    EXPECT_EQ(line.scanner.deliveredImages(), 1U);
}

TEST(Capture, AcknowledgementOfAnotherCommand_IsIgnored) {
    ScannerLine line(inTwoChunks());
    line.send(startWith5000ms);
    line.wait(milliseconds(150));
    line.send(poll);
    EXPECT_EQ(line.send("7E 81 00 01 14 EB 7F"), "");
    EXPECT_EQ(line.send(acknowledgement), remaining11);
}

TEST(Capture, AcknowledgementWithoutABlock_IsIgnored) {
    ScannerLine line;
    EXPECT_EQ(line.send(acknowledgement), "");
    EXPECT_EQ(line.send(ping), pong);
}

TEST(Capture, StopInTheMiddleOfABlock_EndsTheCapture) {
    ScannerLine line(inTwoChunks());
    line.send(startWith5000ms);
    line.wait(milliseconds(150));
    line.send(poll);
    EXPECT_EQ(line.send(stop), stopped);
    EXPECT_EQ(line.send(acknowledgement), "");
    EXPECT_EQ(line.scanner.activity(), Activity::idle);
    EXPECT_EQ(line.scanner.deliveredImages(), 0U);
}

TEST(Capture, StopWithoutCapture_Succeeds) {
    ScannerLine line;
    EXPECT_EQ(line.send(stop), stopped);
}

TEST(Capture, StopWhileAPollIsHeld_LeavesThePollUnanswered) {
    ScannerLine line;
    line.send(startWith5000ms);
    line.send(poll);
    EXPECT_EQ(line.send(stop), stopped);
    EXPECT_EQ(line.wait(milliseconds(1000)), "");
}

TEST(Capture, PollInTheMiddleOfABlock_BeginsTheBlockAnew) {
    ScannerLine line(inTwoChunks());
    line.send(startWith5000ms);
    line.wait(milliseconds(150));
    line.send(poll);
    EXPECT_EQ(line.send(poll), announcementAndFirst16);
}

TEST(Capture, StartDuringACapture_ReplacesIt) {
    ScannerLine line;
    line.send(startWith5000ms);
    line.wait(milliseconds(150));
    EXPECT_EQ(line.send(startWithEvents), started);
    EXPECT_TRUE(line.scanner.captureRequest().eventsWanted);
    EXPECT_EQ(line.send(poll), "");
}

TEST(Capture, NoFinger_EndsWithTheTimeout) {
    ScannerLine line(withoutFinger());
    line.send(startWith5000ms);
    line.wait(milliseconds(4999));
    EXPECT_EQ(line.send(poll), "");
    EXPECT_EQ(line.scanner.nextDeadline(), milliseconds(5000));
    EXPECT_EQ(line.wait(milliseconds(1)), timedOut);
    EXPECT_EQ(line.scanner.activity(), Activity::idle);
    EXPECT_EQ(line.send(poll), wrongState);
}

TEST(Capture, FingerAfterTheTimeout_DoesNotCount) {
    ScannerConfig config = tinyConfig();
    config.finger.delay = milliseconds(6000);
    ScannerLine line(config);
    line.send(startWith5000ms);
    line.wait(milliseconds(10000));
    EXPECT_EQ(line.send(poll), timedOut);
}

TEST(Capture, TimeoutOfZero_WaitsWithoutEnd) {
    ScannerLine line(withoutFinger());
    line.send(startWithoutTimeout);
    line.wait(std::chrono::hours(1));
    line.send(poll);
    EXPECT_EQ(line.wait(milliseconds(20)), nothingReady);
}

TEST(Capture, FingerPlaced_IsAnEventForAHostThatWantsIt) {
    ScannerLine line;
    line.send(startWithEvents);
    line.wait(milliseconds(90));
    EXPECT_EQ(line.send(poll), "");
    EXPECT_EQ(line.scanner.nextDeadline(), milliseconds(100));
    EXPECT_EQ(line.wait(milliseconds(10)), captureEvent);
    EXPECT_EQ(line.send(poll), "");
    EXPECT_EQ(line.wait(milliseconds(20)), nothingReady);
}

TEST(Capture, FingerPlaced_IsNoEventForAHostThatDoesNotWantIt) {
    ScannerLine line;
    line.send(startWith5000ms);
    line.wait(milliseconds(90));
    line.send(poll);
    EXPECT_EQ(line.wait(milliseconds(20)), nothingReady);
}

TEST(Capture, EventsNotYetAskedFor_ComeBeforeTheImage) {
    ScannerConfig config = tinyConfig();
    config.finger.earlyLifts = 1;
    ScannerLine line(config);
    line.send(startWithEvents);
    line.wait(milliseconds(2000));
    EXPECT_EQ(line.send(poll), captureEvent);
    EXPECT_EQ(line.send(poll), captureEvent);
    EXPECT_EQ(line.send(poll), captureEvent);
    EXPECT_EQ(line.send(poll), announcementAndBlock);
}

TEST(Capture, Rotation1_TurnsTheImageClockwise) {
    ScannerLine line;
    line.send("7E 01 00 06 16 01 00 00 00 02 E1 7F");
    line.send(startWith5000ms);
    line.wait(milliseconds(150));
    EXPECT_EQ(line.send(poll),
              "7E 81 00 01 11 EE 7F "
              "7E 81 00 1C 11 00 00 00 1B 00 00 00 03 00 03 00 02 00 00 00 06 80 7D 5F 00 FF 7D 5D "
              "7D 5E 64 00 02 AA BB E6 7F");
}

TEST(Capture, EachCapture_BringsTheNextImage) {
    ScannerConfig config = tinyConfig();
    config.images.push_back({1, 1, {0xFF}});
    config.marks = {false, true, true, {}};
    ScannerLine line(config);
    line.send(startWith5000ms);
    line.wait(milliseconds(150));
    line.send(poll);
    line.send(acknowledgement);
    line.send(startWith5000ms);
    line.wait(milliseconds(150));
    EXPECT_EQ(line.send(poll),
              "7E 81 00 01 11 EE 7F "
              "7E 81 00 15 11 00 00 00 14 00 00 00 06 00 01 00 01 00 00 00 01 FF 00 00 00 BE 7F");
}

TEST(Capture, SyntheticFinger_FillsTheSensor) {
    ScannerConfig config = tinyConfig();
    config.images.clear();
    config.firstFinger.width = 60;
    config.firstFinger.height = 80;
    ScannerLine line(config);
    line.send(startWith5000ms);
    line.wait(milliseconds(150));
    line.scanner.receive(bytesOf(poll), line.now);
    const std::vector<std::uint8_t> output = line.scanner.takeOutput();
    EXPECT_GT(output.size(), 60U * 80U);
    const std::vector<std::uint8_t> header =
        bytesOf("00 00 12 D5 00 00 00 03 00 3C 00 50 00 00 12 C0");
    EXPECT_NE(std::search(output.begin(), output.end(), header.begin(), header.end()),
              output.end());
}

TEST(Capture, ADisconnection_EndsIt) {
    ScannerLine line;
    line.send(startWith5000ms);
    line.send(poll);
    line.send("7E 01 00");
    line.scanner.disconnect();
    EXPECT_EQ(line.scanner.activity(), Activity::idle);
    EXPECT_EQ(line.wait(milliseconds(200)), "");
    EXPECT_EQ(line.send(ping), pong);
}

} // namespace ridge::simulator::test
