#include "scannerline.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

namespace ridge::simulator::test {

TEST(Device, Ping_IsAnswered) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 01 31 CE 7F"), "7E 81 00 01 31 CE 7F");
}

TEST(Device, RequestInSinglePieces_IsAnsweredAtItsLastByte) {
    ScannerLine line;
    for (const char* piece : {"7E", "01", "00", "01", "31", "CE"}) {
        EXPECT_EQ(line.send(piece), "");
    }
    EXPECT_EQ(line.send("7F"), "7E 81 00 01 31 CE 7F");
}

TEST(Device, TwoRequestsInOnePiece_AreBothAnswered) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 01 31 CE 7F 7E 01 00 01 15 EA 7F"),
              "7E 81 00 01 31 CE 7F 7E 81 00 06 15 00 00 00 00 00 E5 7F");
}

TEST(Device, RequestWithWrongChecksum_IsDropped) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 01 31 CF 7F"), "");
    EXPECT_EQ(line.scanner.droppedFrames(), 1U);
}

TEST(Device, UnknownCommand_IsRefused) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 01 40 BF 7F"),
              "7E 81 00 13 C0 01 00 0F 55 6E 6B 6E 6F 77 6E 20 63 6F 6D 6D 61 6E 64 2E 7F");
}

TEST(Device, PayloadWhereNoneBelongs_IsRefused) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 02 31 00 CD 7F"),
              "7E 81 00 1A B1 02 00 16 49 6E 76 61 6C 69 64 20 70 61 79 6C 6F 61 64 20 6C 65 6E 67 "
              "74 68 AA 7F");
}

TEST(Device, Information_HasSevenTextsTwoNumbersAndTheFeatures) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 01 30 CF 7F"),
              "7E 81 00 38 30 00 01 4D 00 02 53 31 00 02 46 32 00 00 00 01 4C 00 01 44 00 1A 6B 65 "
              "79 20 6E 6F 6E 65 2C 20 63 65 72 74 69 66 69 63 61 74 65 20 6E 6F 6E 65 00 02 00 03 "
              "00 15 00 00 CC 7F");
}

TEST(Device, Settings_AreKept) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 06 16 01 00 00 00 02 E1 7F"), "7E 81 00 01 16 E9 7F");
    EXPECT_EQ(line.send("7E 01 00 01 15 EA 7F"), "7E 81 00 06 15 01 00 00 00 02 E2 7F");
}

TEST(Device, Settings_SurviveADisconnection) {
    ScannerLine line;
    line.send("7E 01 00 06 16 01 00 00 00 02 E1 7F");
    line.scanner.disconnect();
    EXPECT_EQ(line.scanner.settings(), (DeviceSettings{1, 2}));
}

TEST(Device, RotationAbove3_IsRefusedAndChangesNothing) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 06 16 04 00 00 00 00 E0 7F"),
              "7E 81 00 15 96 03 00 11 49 6E 76 61 6C 69 64 20 70 61 72 61 6D 65 74 65 72 99 7F");
    EXPECT_EQ(line.scanner.settings(), DeviceSettings{});
}

TEST(Device, SettingsOfTheWrongLength_AreRefused) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 02 16 01 E7 7F"),
              "7E 81 00 1A 96 02 00 16 49 6E 76 61 6C 69 64 20 70 61 79 6C 6F 61 64 20 6C 65 6E 67 "
              "74 68 C5 7F");
}

TEST(Device, ImageThatFitsIntoNoBlock_IsRefusedAtConstruction) {
    ScannerConfig config;
    config.firstFinger.width = 400;
    config.firstFinger.height = 400;
    EXPECT_THROW(ScannerModel{config}, std::invalid_argument);
}

TEST(Device, ImageWithoutItsPixels_IsRefusedAtConstruction) {
    ScannerConfig config;
    config.images = {{10, 10, {}}};
    EXPECT_THROW(ScannerModel{config}, std::invalid_argument);
}

TEST(Device, EmptyChunk_IsRefusedAtConstruction) {
    ScannerConfig config;
    config.chunkSize = 0;
    EXPECT_THROW(ScannerModel{config}, std::invalid_argument);
}

TEST(Device, RotationAbove3_IsRefusedAtConstruction) {
    ScannerConfig config;
    config.settings.rotation = 4;
    EXPECT_THROW(ScannerModel{config}, std::invalid_argument);
}

TEST(Device, Trace_SeesThePacketsOfBothDirections) {
    ScannerLine line;
    std::vector<std::pair<Direction, std::uint32_t>> seen;
    line.scanner.setTrace([&seen](Direction direction, const Packet& packet) {
        seen.emplace_back(direction, packet.type);
    });
    line.send("7E 01 00 01 31 CE 7F");
    const std::vector<std::pair<Direction, std::uint32_t>> expected{{Direction::fromHost, 0x01},
                                                                    {Direction::toHost, 0x81}};
    EXPECT_EQ(seen, expected);
}

} // namespace ridge::simulator::test
