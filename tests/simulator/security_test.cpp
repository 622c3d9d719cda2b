#include "scannerline.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace ridge::simulator::test {

namespace {

// Every byte of the key 00 01 ... 1F mixed with A5.
constexpr const char* setKey =
    "7E 01 00 41 20 A5 A5 A5 A4 A5 A7 A5 A6 A5 A1 A5 A0 A5 A3 A5 A2 A5 AD A5 AC A5 AF A5 AE A5 A9 "
    "A5 A8 A5 AB A5 AA A5 B5 A5 B4 A5 B7 A5 B6 A5 B1 A5 B0 A5 B3 A5 B2 A5 BD A5 BC A5 BF A5 BE A5 "
    "B9 A5 B8 A5 BB A5 BA 0F 7F";
constexpr const char* setCertificate = "7E 01 00 05 22 30 82 01 02 24 7F";
constexpr const char* getCertificate = "7E 01 00 01 23 DC 7F";
constexpr const char* startCapture = "7E 01 00 0A 10 01 00 00 13 88 00 00 00 00 4A 7F";

} // namespace

TEST(Security, SetKey_IsUnmasked) {
    ScannerLine line;
    EXPECT_EQ(line.send(setKey), "7E 81 00 01 20 DF 7F");
    ASSERT_TRUE(line.scanner.security().key().has_value());
    const SecurityStore::Key key = *line.scanner.security().key();
    for (std::size_t i = 0; i < key.size(); ++i) {
        EXPECT_EQ(key[i], i);
    }
}

TEST(Security, KeyOfTheWrongLength_IsRefused) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 02 20 A5 39 7F"),
              "7E 81 00 1A A0 02 00 16 49 6E 76 61 6C 69 64 20 70 61 79 6C 6F 61 64 20 6C 65 6E 67 "
              "74 68 BB 7F");
    EXPECT_FALSE(line.scanner.security().key().has_value());
}

TEST(Security, ClearKey_RemovesIt) {
    ScannerLine line;
    line.send(setKey);
    EXPECT_EQ(line.send("7E 01 00 01 2C D3 7F"), "7E 81 00 01 2C D3 7F");
    EXPECT_FALSE(line.scanner.security().key().has_value());
}

TEST(Security, Certificate_IsGivenBackAsItWasSet) {
    ScannerLine line;
    EXPECT_EQ(line.send(setCertificate), "7E 81 00 01 22 DD 7F");
    EXPECT_EQ(line.send(getCertificate), "7E 81 00 05 23 30 82 01 02 23 7F");
}

TEST(Security, NoCertificate_IsAnEmptyAnswer) {
    ScannerLine line;
    EXPECT_EQ(line.send(getCertificate), "7E 81 00 01 23 DC 7F");
}

TEST(Security, CertClear_RemovesTheCertificate) {
    ScannerLine line;
    line.send(setCertificate);
    EXPECT_EQ(line.send("7E 01 00 01 24 DB 7F"), "7E 81 00 01 24 DB 7F");
    EXPECT_EQ(line.send(getCertificate), "7E 81 00 01 23 DC 7F");
}

TEST(Security, EmptyCertificate_IsRefused) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 01 22 DD 7F"),
              "7E 81 00 1A A2 02 00 16 49 6E 76 61 6C 69 64 20 70 61 79 6C 6F 61 64 20 6C 65 6E 67 "
              "74 68 B9 7F");
}

TEST(Security, CertificateOf6001Bytes_IsRefused) {
    ScannerLine line;
    std::string request = "7E 01 17 72 22";
    for (int i = 0; i < 6001; ++i) {
        request += " 00";
    }
    EXPECT_EQ(line.send(request + " 55 7F").substr(0, 17), "7E 81 00 1A A2 02");
    EXPECT_TRUE(line.scanner.security().certificate().empty());
}

TEST(Security, CertificateOf6000Bytes_IsStored) {
    ScannerLine line;
    std::string request = "7E 01 17 71 22";
    for (int i = 0; i < 6000; ++i) {
        request += " 00";
    }
    EXPECT_EQ(line.send(request + " 56 7F"), "7E 81 00 01 22 DD 7F");
    EXPECT_EQ(line.scanner.security().certificate().size(), 6000U);
}

TEST(Security, DeviceInformation_ShowsKeyAndCertificate) {
    ScannerLine line;
    line.send(setKey);
    line.send(setCertificate);
    EXPECT_EQ(line.send("7E 01 00 01 30 CF 7F"),
              "7E 81 00 36 30 00 01 4D 00 02 53 31 00 02 46 32 00 00 00 01 4C 00 01 44 00 18 6B 65 "
              "79 20 73 65 74 2C 20 63 65 72 74 69 66 69 63 61 74 65 20 73 65 74 00 02 00 03 00 15 "
              "00 03 95 7F");
}

TEST(Security, CreateCsr_IsNotSupported) {
    ScannerLine line;
    EXPECT_EQ(line.send("7E 01 00 0E 21 00 01 41 00 00 00 00 00 00 00 00 00 00 8F 7F"),
              "7E 81 00 11 A1 05 00 0D 4E 6F 74 20 73 75 70 70 6F 72 74 65 64 05 7F");
}

TEST(Security, CommandsDuringACapture_AreRefused) {
    ScannerLine line;
    line.send(startCapture);
    for (const char* request : {setKey, setCertificate, getCertificate, "7E 01 00 01 24 DB 7F",
                                "7E 01 00 01 2C D3 7F", "7E 01 00 06 16 01 00 00 00 02 E1 7F",
                                "7E 01 00 0E 21 00 01 41 00 00 00 00 00 00 00 00 00 00 8F 7F"}) {
        const std::string answer = line.send(request);
        ASSERT_GT(answer.size(), 17U);
        // Length and error 4; the byte between them is the command's code with its high bit.
        EXPECT_EQ(answer.substr(0, 11), "7E 81 00 1E");
        EXPECT_EQ(answer.substr(15, 2), "04");
    }
    EXPECT_EQ(line.scanner.activity(), Activity::capture);
    EXPECT_FALSE(line.scanner.security().key().has_value());
    EXPECT_EQ(line.scanner.settings(), DeviceSettings{});
}

} // namespace ridge::simulator::test
