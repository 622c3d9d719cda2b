#include "hostassistance.h"
#include "scannerline.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace ridge::simulator::test {

namespace {

constexpr const char* start = "7E 01 00 06 17 02 00 00 00 01 E0 7F";
// The mask is 6A FF B8 EE ... 6B AB; its second half comes first.
constexpr const char* started =
    "7E 81 00 41 17 6A 75 8F 6E 23 F0 32 C7 CC B7 F7 CD 50 17 B1 84 E0 DD E5 D4 15 D4 09 45 2B 0F "
    "E0 AB 19 97 6B AB 6A FF B8 EE 00 20 4D FF 25 3C 17 65 2F 63 58 AB 65 EF 89 D8 6B 50 AF 86 34 "
    "71 E0 3A 07 88 AB E9 31 7F";
constexpr const char* streamPoll = "7E 01 00 01 14 EB 7F";
constexpr const char* streamAcknowledgement = "7E 81 00 01 14 EB 7F";
constexpr const char* maskedImage =
    "7E 81 00 01 14 EB 7F "
    "7E 81 00 17 14 00 00 00 16 00 00 00 03 00 02 00 03 00 00 00 06 6A 81 C7 93 80 DF 0D 7F";
// Accepts: byte 0 = 5, byte 5 = 1, byte 6 = 5 under the mask.
constexpr const char* accept =
    "7E 01 00 41 18 6F FF B8 EE 00 21 48 FF 25 3C 17 65 2F 63 58 AB 65 EF 89 D8 6B 50 AF 86 34 71 "
    "E0 3A 07 88 AB E9 6A 75 8F 6E 23 F0 32 C7 CC B7 F7 CD 50 17 B1 84 E0 DD E5 D4 15 D4 09 45 2B "
    "0F E0 AB 19 97 6B AB 2F 7F";
// Rejects: byte 0 = 63, byte 63 = 0, byte 62 = 63 under the mask.
constexpr const char* reject =
    "7E 01 00 41 18 55 FF B8 EE 00 20 4D FF 25 3C 17 65 2F 63 58 AB 65 EF 89 D8 6B 50 AF 86 34 71 "
    "E0 3A 07 88 AB E9 6A 75 8F 6E 23 F0 32 C7 CC B7 F7 CD 50 17 B1 84 E0 DD E5 D4 15 D4 09 45 2B "
    "0F E0 AB 19 97 54 AB 5C 7F";
// As accept, but byte 6 does not repeat byte 0.
constexpr const char* contradiction =
    "7E 01 00 41 18 6F FF B8 EE 00 21 4B FF 25 3C 17 65 2F 63 58 AB 65 EF 89 D8 6B 50 AF 86 34 71 "
    "E0 3A 07 88 AB E9 6A 75 8F 6E 23 F0 32 C7 CC B7 F7 CD 50 17 B1 84 E0 DD E5 D4 15 D4 09 45 2B "
    "0F E0 AB 19 97 6B AB 2C 7F";
constexpr const char* taken = "7E 81 00 01 18 E7 7F";
constexpr const char* capturePoll = "7E 01 00 01 11 EE 7F";
constexpr const char* captureBlock =
    "7E 81 00 01 11 EE 7F "
    "7E 81 00 1C 11 00 00 00 1B 00 00 00 03 00 02 00 03 00 00 00 06 00 7D 5E 7D 5F 7D 5D 80 FF 64 "
    "00 02 AA BB E6 7F";

void deliverImage(ScannerLine& line) {
    line.send(start);
    line.wait(milliseconds(150));
    line.send(streamPoll);
    line.send(streamAcknowledgement);
}

HostAssistance::Mask risingMask() {
    HostAssistance::Mask mask{};
    for (std::size_t i = 0; i < mask.size(); ++i) {
        mask[i] = static_cast<std::uint8_t>(i);
    }
    return mask;
}

std::optional<bool> clearVerdict(std::uint8_t place, std::size_t copyAt, std::uint8_t copy,
                                 std::uint8_t verdict) {
    HostAssistance::Mask message{};
    message[0] = place;
    message[copyAt] = copy;
    message[place % message.size()] = verdict;
    return HostAssistance(HostAssistance::Mask{}).verdict(message);
}

} // namespace

TEST(HostAssistedCapture, Start_AnswersTheMaskWithItsHalvesExchanged) {
    ScannerLine line;
    EXPECT_EQ(line.send(start), started);
    EXPECT_EQ(line.scanner.activity(), Activity::hostAssistedStream);
    EXPECT_EQ(line.scanner.captureRequest().mode, 2);
    EXPECT_EQ(line.scanner.captureRequest().parameter, 1U);
}

TEST(HostAssistedCapture, ParameterZero_IsRefused) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 06 17 02 00 00 00 00 E1 7F"),
              "7E 81 00 15 97 03 00 11 49 6E 76 61 6C 69 64 20 70 61 72 61 6D 65 74 65 72 98 7F");
}

TEST(HostAssistedCapture, Image_IsMasked) {
    ScannerLine line;
    line.send(start);
    line.wait(milliseconds(150));
    EXPECT_EQ(line.send(streamPoll), maskedImage);
}

TEST(HostAssistedCapture, DeliveredImage_AwaitsTheVerdict) {
    ScannerLine line;
    deliverImage(line);
    EXPECT_EQ(line.scanner.activity(), Activity::hostAssistedVerdict);
    EXPECT_EQ(line.send("7E 01 00 01 31 CE 7F"), "7E 81 00 01 31 CE 7F");
    EXPECT_EQ(line.scanner.activity(), Activity::hostAssistedVerdict);
}

TEST(HostAssistedCapture, StreamPollBeforeTheVerdict_IsRefused) {
    ScannerLine line;
    deliverImage(line);
    EXPECT_EQ(line.send(streamPoll),
              "7E 81 00 1E 94 04 00 1A 4E 6F 74 20 70 6F 73 73 69 62 6C 65 20 69 6E 20 74 68 69 73 "
              "20 73 74 61 74 65 6E 7F");
}

TEST(HostAssistedCapture, AcceptedImage_IsDeliveredInTheClear) {
    ScannerLine line;
    deliverImage(line);
    EXPECT_EQ(line.send(accept), taken);
    EXPECT_EQ(line.scanner.lastVerdict(), true);
    EXPECT_EQ(line.send(capturePoll), captureBlock);
    line.send("7E 81 00 01 11 EE 7F");
    EXPECT_EQ(line.scanner.activity(), Activity::idle);
}

TEST(HostAssistedCapture, RejectedImage_IsFollowedByTheNextFinger) {
    ScannerConfig config = tinyConfig();
    config.images.push_back({1, 1, {0x00}});
    ScannerLine line(config);
    deliverImage(line);
    EXPECT_EQ(line.send(reject), taken);
    EXPECT_EQ(line.scanner.lastVerdict(), false);
    EXPECT_EQ(line.scanner.activity(), Activity::hostAssistedStream);
    line.wait(milliseconds(40));
    // The white that the trembling lets in, under the mask's 6A.
    EXPECT_EQ(line.send(streamPoll),
              "7E 81 00 01 14 EB 7F "
              "7E 81 00 12 14 00 00 00 11 00 00 00 03 00 01 00 01 00 00 00 01 95 2E 7F");
}

TEST(HostAssistedCapture, VerdictThatContradictsItself_IsRefused) {
    ScannerLine line;
    deliverImage(line);
    EXPECT_EQ(line.send(contradiction), "7E 81 00 18 98 06 00 14 49 6E 76 61 6C 69 64 20 68 6F 73 "
                                        "74 20 76 65 72 64 69 63 74 80 7F");
    EXPECT_EQ(line.scanner.activity(), Activity::hostAssistedVerdict);
    EXPECT_EQ(line.scanner.lastVerdict(), std::nullopt);
}

TEST(HostAssistedCapture, VerdictWithoutAnImage_IsRefused) {
    ScannerLine line;
    line.send(start);
    EXPECT_EQ(line.send(accept),
              "7E 81 00 1E 98 04 00 1A 4E 6F 74 20 70 6F 73 73 69 62 6C 65 20 69 6E 20 74 68 69 73 "
              "20 73 74 61 74 65 6A 7F");
}

TEST(HostAssistedCapture, VerdictOfTheWrongLength_IsRefused) {
    ScannerLine line;
    deliverImage(line);
    EXPECT_EQ(line.send("7E 01 00 01 18 E7 7F"),
              "7E 81 00 1A 98 02 00 16 49 6E 76 61 6C 69 64 20 70 61 79 6C 6F 61 64 20 6C 65 6E 67 "
              "74 68 C3 7F");
}

TEST(HostAssistedCapture, EachStart_HasAMaskOfItsOwn) {
    ScannerLine line;
    const std::string first = line.send(start);
    EXPECT_NE(line.send(start), first);
}

TEST(HostAssistance, Announcement_BeginsWithTheSecondHalf) {
    const std::vector<std::uint8_t> announced = HostAssistance(risingMask()).announcement();
    ASSERT_EQ(announced.size(), 64U);
    EXPECT_EQ(announced[0], 32);
    EXPECT_EQ(announced[31], 63);
    EXPECT_EQ(announced[32], 0);
    EXPECT_EQ(announced[63], 31);
}

TEST(HostAssistance, Mask_RepeatsAfter64Bytes) {
    std::vector<std::uint8_t> pixels(130, 0);
    HostAssistance(risingMask()).apply(pixels);
    EXPECT_EQ(pixels[63], 63);
    EXPECT_EQ(pixels[64], 0);
    EXPECT_EQ(pixels[129], 1);
}

TEST(HostAssistance, Verdict_StandsWhereByte0Says) {
    EXPECT_EQ(clearVerdict(1, 2, 1, 1), true);
    EXPECT_EQ(clearVerdict(1, 2, 1, 0), false);
    EXPECT_EQ(clearVerdict(62, 63, 62, 1), true);
}

TEST(HostAssistance, VerdictInTheLastByte_HasItsCopyBeforeIt) {
    EXPECT_EQ(clearVerdict(63, 62, 63, 1), true);
    EXPECT_EQ(clearVerdict(63, 1, 63, 1), std::nullopt);
}

TEST(HostAssistance, VerdictPlaceOutsideTheMessage_IsInvalid) {
    EXPECT_EQ(clearVerdict(0, 1, 0, 0), std::nullopt);
    EXPECT_EQ(clearVerdict(64, 1, 64, 64), std::nullopt);
}

TEST(HostAssistance, VerdictOtherThan0And1_IsInvalid) {
    EXPECT_EQ(clearVerdict(5, 6, 5, 2), std::nullopt);
}

} // namespace ridge::simulator::test
