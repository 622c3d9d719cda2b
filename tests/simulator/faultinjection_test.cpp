#include "scannerline.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace ridge::simulator::test {

namespace {

constexpr const char* getSettings = "7E 01 00 01 15 EA 7F";
constexpr const char* settings = "7E 81 00 06 15 00 00 00 00 00 E5 7F";
constexpr const char* startCapture = "7E 01 00 0A 10 01 00 00 13 88 00 00 00 00 4A 7F";
constexpr const char* captureStarted = "7E 81 00 01 10 EF 7F";
constexpr const char* poll = "7E 01 00 01 11 EE 7F";
constexpr const char* acknowledgement = "7E 81 00 01 11 EE 7F";
constexpr const char* announcement = "7E 81 00 01 11 EE 7F";
constexpr const char* block =
    "7E 81 00 1C 11 00 00 00 1B 00 00 00 03 00 02 00 03 00 00 00 06 00 7D 5E 7D 5F 7D 5D 80 FF 64 "
    "00 02 AA BB E6 7F";

const std::string announcementAndBlock = std::string(announcement) + " " + block;

ScannerConfig withFaults(std::string_view script) {
    ScannerConfig config = tinyConfig();
    config.faults = parseFaultScript(script);
    return config;
}

// A line on which the first poll will bring the image.
ScannerLine readyToPoll(std::string_view script) {
    ScannerLine line(withFaults(script));
    line.send(startCapture);
    line.wait(milliseconds(150));
    return line;
}

struct AnswerCase {
    const char* name;
    const char* fault;
    const char* request;
    const char* answer;
};

void PrintTo(const AnswerCase& value, std::ostream* stream) {
    *stream << value.fault;
}

class AnswerFault : public testing::TestWithParam<AnswerCase> {};

} // namespace

TEST_P(AnswerFault, StrikesOnceAndIsGone) {
    ScannerLine line(withFaults("any: " + std::string(GetParam().fault)));
    EXPECT_EQ(line.send(GetParam().request), GetParam().answer);
    line.wait(milliseconds(1000));
    EXPECT_EQ(line.send(ping), pong);
}

INSTANTIATE_TEST_SUITE_P(
    All, AnswerFault,
    testing::Values(
        AnswerCase{"NoAnswer", "no-answer", ping, ""},
        AnswerCase{"DuplicateAnswer", "duplicate-answer", ping,
                   "7E 81 00 01 31 CE 7F 7E 81 00 01 31 CE 7F"},
        AnswerCase{"ExtraDataPacket", "extra-data-packet", ping,
                   "7E 81 00 01 31 CE 7F 7E 81 00 02 31 00 CD 7F"},
        AnswerCase{"WrongChecksum", "wrong-checksum", ping, "7E 81 00 01 31 CF 7F"},
        AnswerCase{"WrongLength", "wrong-length", ping, "7E 81 00 02 31 CD 7F"},
        AnswerCase{"WrongCode", "wrong-code", ping, "7E 81 00 01 71 8E 7F"},
        AnswerCase{"WrongCodeGiven", "wrong-code:0x30", ping, "7E 81 00 01 30 CF 7F"},
        AnswerCase{"WrongType", "wrong-type", ping, "7E 01 00 01 31 CE 7F"},
        AnswerCase{"WrongTypeGiven", "wrong-type:0x55", ping, "7E 55 00 01 31 CE 7F"},
        AnswerCase{"TruncatedFrame", "truncated-frame", ping, "7E 81 00"},
        AnswerCase{"TruncatedFrameGiven", "truncated-frame:5", ping, "7E 81 00 01 31"},
        AnswerCase{"TruncatedBeyondItsEnd", "truncated-frame:99", ping, pong},
        AnswerCase{"FlippedByte", "flipped-byte", ping, "7E 81 00 00 31 CE 7F"},
        AnswerCase{"FlippedByteGiven", "flipped-byte:4", ping, "7E 81 00 01 30 CE 7F"},
        AnswerCase{"FlippedBeyondItsEnd", "flipped-byte:99", ping, "7E 81 00 01 31 CE 7E"},
        AnswerCase{"EmptyAnswer", "empty-answer", getSettings, "7E 81 00 01 15 EA 7F"},
        AnswerCase{"LongerAnswer", "answer-length:6", getSettings,
                   "7E 81 00 07 15 00 00 00 00 00 00 E4 7F"},
        AnswerCase{"ShorterAnswer", "answer-length:4", getSettings,
                   "7E 81 00 05 15 00 00 00 00 E6 7F"},
        AnswerCase{"AnswerByte", "answer-byte:0:4", getSettings,
                   "7E 81 00 06 15 04 00 00 00 00 E1 7F"},
        AnswerCase{"AnswerByteBeyondItsEnd", "answer-byte:5:4", getSettings, settings},
        AnswerCase{"DeviceError", "device-error:5:ok", ping, "7E 81 00 06 B1 05 00 02 6F 6B 68 7F"},
        AnswerCase{"DeviceErrorWithoutText", "device-error:5", ping,
                   "7E 81 00 04 B1 05 00 00 46 7F"},
        AnswerCase{"ShortError", "short-error", ping, "7E 81 00 02 B1 01 4C 7F"},
        AnswerCase{"ShortErrorEmpty", "short-error:0", ping, "7E 81 00 01 B1 4E 7F"}),
    [](const testing::TestParamInfo<AnswerCase>& info) { return std::string(info.param.name); });

TEST(Faults, NoiseBefore_LeavesTheFrameWhole) {
    ScannerLine line(withFaults("PING: noise-before:4"));
    const std::string answer = line.send(ping);
    EXPECT_EQ(bytesOf(answer).size(), 11U);
    EXPECT_TRUE(answer.ends_with(pong));
}

TEST(Faults, LateAnswer_ComesAfterTheNextCommandsAnswer) {
    ScannerLine line(withFaults("GET DEVICE SETTINGS: late-answer:4000"));
    EXPECT_EQ(line.send(getSettings), "");
    EXPECT_EQ(line.scanner.nextDeadline(), milliseconds(4000));
    line.wait(milliseconds(3500));
    EXPECT_EQ(line.send(ping), pong);
    EXPECT_EQ(line.wait(milliseconds(499)), "");
    EXPECT_EQ(line.wait(milliseconds(1)), settings);
}

TEST(Faults, LateAnswersDueTogether_KeepTheirOrder) {
    ScannerLine line(withFaults("any: late-answer:10 always"));
    line.send(ping);
    line.send(getSettings);
    EXPECT_EQ(line.wait(milliseconds(10)), std::string(pong) + " " + settings);
}

TEST(Faults, OtherCommands_AreNotStruck) {
    ScannerLine line(withFaults("GET DEVICE SETTINGS: no-answer"));
    EXPECT_EQ(line.send(ping), pong);
    EXPECT_EQ(line.send(getSettings), "");
}

TEST(Faults, LaterOccurrence_IsCountedPerCommand) {
    ScannerLine line(withFaults("PING#2: no-answer"));
    EXPECT_EQ(line.send(ping), pong);
    EXPECT_EQ(line.send(getSettings), settings);
    EXPECT_EQ(line.send(ping), "");
    EXPECT_EQ(line.send(ping), pong);
}

TEST(Faults, Always_StrikesFromTheGivenOccurrenceOn) {
    ScannerLine line(withFaults("PING#2: no-answer always"));
    EXPECT_EQ(line.send(ping), pong);
    EXPECT_EQ(line.send(ping), "");
    EXPECT_EQ(line.send(ping), "");
}

TEST(Faults, SeveralFaults_StrikeTogether) {
    ScannerLine line(withFaults("PING: wrong-checksum\nPING: duplicate-answer"));
    EXPECT_EQ(line.send(ping), "7E 81 00 01 31 CF 7F 7E 81 00 01 31 CF 7F");
}

TEST(Faults, DeviceError_KeepsTheCommandFromBeingCarriedOut) {
    ScannerLine line(withFaults("START CAPTURE: device-error:5"));
    EXPECT_EQ(line.send(startCapture), "7E 81 00 04 90 05 00 00 67 7F");
    EXPECT_EQ(line.scanner.activity(), Activity::idle);
}

TEST(Faults, NoAnswer_LeavesTheCommandCarriedOut) {
    ScannerLine line(withFaults("START CAPTURE: no-answer"));
    EXPECT_EQ(line.send(startCapture), "");
    EXPECT_EQ(line.scanner.activity(), Activity::capture);
}

TEST(Faults, DeviceErrorOfAPoll_ComesAtOnce) {
    ScannerLine line(withFaults("GET CAPTURE DATA: device-error:7 once"));
    EXPECT_EQ(line.send(startCapture), captureStarted);
    EXPECT_EQ(line.send(poll), "7E 81 00 04 91 07 00 00 64 7F");
}

TEST(Faults, NoAnswerToAPoll_SilencesTheDataPacketToo) {
    ScannerLine line = readyToPoll("GET CAPTURE DATA: no-answer");
    EXPECT_EQ(line.send(poll), "");
    EXPECT_EQ(line.send(poll), announcementAndBlock);
}

TEST(Faults, LateAnswerToAPoll_DelaysTheDataPacketToo) {
    ScannerLine line = readyToPoll("GET CAPTURE DATA: late-answer:100");
    EXPECT_EQ(line.send(poll), "");
    EXPECT_EQ(line.wait(milliseconds(100)), announcementAndBlock);
}

TEST(Faults, LateDataPacket_FollowsThePromptAnswer) {
    ScannerLine line = readyToPoll("GET CAPTURE DATA/data: late-answer:100");
    EXPECT_EQ(line.send(poll), announcement);
    EXPECT_EQ(line.wait(milliseconds(100)), block);
}

TEST(Faults, LostDataPacket_IsNotSent) {
    ScannerLine line = readyToPoll("GET CAPTURE DATA/data: no-answer");
    EXPECT_EQ(line.send(poll), announcement);
    EXPECT_EQ(line.wait(milliseconds(10000)), "");
}

TEST(Faults, DataPackets_AreCountedApartFromAnswers) {
    ScannerConfig config = withFaults("GET CAPTURE DATA/data#2: wrong-checksum");
    config.chunkSize = 16;
    ScannerLine line(config);
    line.send(startCapture);
    line.wait(milliseconds(150));
    EXPECT_EQ(line.send(poll),
              std::string(announcement) +
                  " 7E 81 00 11 11 00 00 00 1B 00 00 00 03 00 02 00 03 00 00 00 06 B5 7F");
    EXPECT_EQ(line.send(acknowledgement),
              "7E 81 00 0C 11 00 7D 5E 7D 5F 7D 5D 80 FF 64 00 02 AA BB 20 7F");
}

TEST(Faults, DeviceErrorInPlaceOfADataPacket_IsSentAsOne) {
    ScannerLine line = readyToPoll("GET CAPTURE DATA/data: device-error:5:ok");
    EXPECT_EQ(line.send(poll), std::string(announcement) + " 7E 81 00 06 91 05 00 02 6F 6B 88 7F");
}

TEST(Faults, Blocks_AreCountedApartFromPolls) {
    ScannerLine line(withFaults("GET CAPTURE DATA/block: no-answer"));
    line.send(startCapture);
    line.send(poll);
    EXPECT_NE(line.wait(milliseconds(20)), "");
    line.wait(milliseconds(130));
    EXPECT_EQ(line.send(poll), "");
    EXPECT_EQ(line.send(poll), announcementAndBlock);
}

TEST(Faults, RefusedBlock_IsDeliveredAtTheNextPoll) {
    ScannerLine line = readyToPoll("GET CAPTURE DATA/block: device-error:5");
    EXPECT_EQ(line.send(poll), "7E 81 00 04 91 05 00 00 66 7F");
    EXPECT_EQ(line.send(poll), announcementAndBlock);
}

TEST(Faults, BlockLength_LiesInTheFirstField) {
    const auto firstField = [](std::string_view fault) {
        ScannerLine line = readyToPoll("GET CAPTURE DATA: " + std::string(fault));
        return line.send(poll).substr(36, 11);
    };
    EXPECT_EQ(firstField("block-length:19"), "00 00 00 13");
    EXPECT_EQ(firstField("block-length:18"), "00 00 00 12");
    EXPECT_EQ(firstField("block-length:140001"), "00 02 22 E1");
    EXPECT_EQ(firstField("block-length:+1"), "00 00 00 1C");
    EXPECT_EQ(firstField("block-length:-1"), "00 00 00 1A");
    EXPECT_EQ(firstField("block-length:4294967295"), "FF FF FF FF");
}

TEST(Faults, ShortBlock_IsCutAndSaysSo) {
    ScannerLine line = readyToPoll("GET CAPTURE DATA: short-block:19");
    EXPECT_EQ(line.send(poll), std::string(announcement) +
                                   " 7E 81 00 14 11 00 00 00 13 00 00 00 03 00 02 00 03 00 00 00 "
                                   "06 00 7D 5E 7D 5F BD 7F");
}

TEST(Faults, ShortBlockOf4Bytes_IsOnlyTheLengthField) {
    ScannerLine line = readyToPoll("GET CAPTURE DATA: short-block:4");
    EXPECT_EQ(line.send(poll), std::string(announcement) + " 7E 81 00 05 11 00 00 00 04 E6 7F");
}

TEST(Faults, ShortBlockOf0Bytes_IsAnEmptyDataPacket) {
    ScannerLine line = readyToPoll("GET CAPTURE DATA: short-block:0");
    EXPECT_EQ(line.send(poll), std::string(announcement) + " 7E 81 00 01 11 EE 7F");
    EXPECT_EQ(line.send(acknowledgement), "");
    EXPECT_EQ(line.scanner.activity(), Activity::idle);
}

} // namespace ridge::simulator::test
