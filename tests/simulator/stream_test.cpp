#include "scannerline.h"

#include <gtest/gtest.h>

#include <string>

namespace ridge::simulator::test {

namespace {

constexpr const char* start = "7E 01 00 01 13 EC 7F";
constexpr const char* started = "7E 81 00 01 13 EC 7F";
constexpr const char* poll = "7E 01 00 01 14 EB 7F";
constexpr const char* acknowledgement = "7E 81 00 01 14 EB 7F";
constexpr const char* nothingReady =
    "7E 81 00 11 94 07 00 0D 4E 6F 74 68 69 6E 67 20 72 65 61 64 79 3B 7F";
constexpr const char* announcementAndBlock =
    "7E 81 00 01 14 EB 7F "
    "7E 81 00 17 14 00 00 00 16 00 00 00 03 00 02 00 03 00 00 00 06 00 7D 5E 7D 5F 7D 5D 80 FF B8 "
    "7F";

} // namespace

TEST(Stream, Image_HasNeitherExtraValueNorTrailer) {
    ScannerLine line;
    EXPECT_EQ(line.send(start), started);
    EXPECT_EQ(line.scanner.activity(), Activity::stream);
    line.wait(milliseconds(150));
    EXPECT_EQ(line.send(poll), announcementAndBlock);
}

TEST(Stream, StartWithBlock_RemembersThe256Bytes) {
    ScannerLine line;
    std::string request = "7E 01 01 01 13";
    for (int i = 0; i < 256; ++i) {
        request += " 01";
    }
    EXPECT_EQ(line.send(request + " EB 7F"), started);
    EXPECT_EQ(line.scanner.captureRequest().block, std::vector<std::uint8_t>(256, 1));
}

TEST(Stream, BlockOfTheWrongLength_IsRefused) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 02 13 00 EB 7F"),
              "7E 81 00 1A 93 02 00 16 49 6E 76 61 6C 69 64 20 70 61 79 6C 6F 61 64 20 6C 65 6E 67 "
              "74 68 C8 7F");
}

TEST(Stream, PollWithoutStart_IsRefused) {
    ScannerLine line;
    EXPECT_EQ(line.send(poll), "7E 81 00 1E 94 04 00 1A 4E 6F 74 20 70 6F 73 73 69 62 6C 65 20 69 "
                               "6E 20 74 68 69 73 20 73 74 61 74 65 6E 7F");
}

TEST(Stream, PollBeforeTheImage_IsAnsweredAfterTheHold) {
    ScannerLine line;
    line.send(start);
    EXPECT_EQ(line.send(poll), "");
    EXPECT_EQ(line.wait(milliseconds(20)), nothingReady);
}

TEST(Stream, NextImage_ComesAfterTheInterval) {
    ScannerLine line;
    line.send(start);
    line.wait(milliseconds(150));
    line.send(poll);
    line.send(acknowledgement);
    line.wait(milliseconds(30));
    EXPECT_EQ(line.send(poll), "");
    EXPECT_EQ(line.scanner.nextDeadline(), milliseconds(190));
    EXPECT_NE(line.wait(milliseconds(10)), "");
    EXPECT_EQ(line.scanner.activity(), Activity::stream);
}

TEST(Stream, Images_Tremble) {
    ScannerLine line;
    line.send(start);
    line.wait(milliseconds(150));
    const std::string first = line.send(poll);
    line.send(acknowledgement);
    line.wait(milliseconds(40));
    const std::string second = line.send(poll);
    EXPECT_EQ(first, announcementAndBlock);
    EXPECT_EQ(second, "7E 81 00 01 14 EB 7F "
                      "7E 81 00 17 14 00 00 00 16 00 00 00 03 00 02 00 03 00 00 00 06 FF 00 FF 7D "
                      "5F FF 80 B5 7F");
}

TEST(Stream, ReducedImages_AreSmallerByTheFactor) {
    ScannerConfig config = tinyConfig();
    config.streamReduction = 2;
    ScannerLine line(config);
    line.send(start);
    line.wait(milliseconds(150));
    // (0x00 + 0x7E + 0x7F + 0x7D) / 4
    EXPECT_EQ(line.send(poll),
              "7E 81 00 01 14 EB 7F "
              "7E 81 00 12 14 00 00 00 11 00 00 00 03 00 01 00 01 00 00 00 01 5E 65 7F");
}

TEST(Stream, Stop_EndsIt) {
    ScannerLine line;
    line.send(start);
    EXPECT_EQ(line.send("7E 01 00 01 12 ED 7F"), "7E 81 00 01 12 ED 7F");
    EXPECT_EQ(line.scanner.activity(), Activity::idle);
}

TEST(Stream, CapturePoll_IsRefused) {
    ScannerLine line;
    line.send(start);
    EXPECT_EQ(line.send("7E 01 00 01 11 EE 7F"),
              "7E 81 00 1E 91 04 00 1A 4E 6F 74 20 70 6F 73 73 69 62 6C 65 20 69 6E 20 74 68 69 73 "
              "20 73 74 61 74 65 71 7F");
}

} // namespace ridge::simulator::test
