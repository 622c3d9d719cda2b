#include "deviceidentifier.h"

#include <gmock/gmock.h>

#include <ostream>
#include <string>

namespace ridge {
namespace {

using testing::Optional;

struct NumberCase {
    const char* name;
    std::string identifier;
    std::optional<std::uint16_t> number;
};

void PrintTo(const NumberCase& number, std::ostream* stream) {
    *stream << number.identifier;
}

class HexadecimalAfter : public testing::TestWithParam<NumberCase> {};

TEST_P(HexadecimalAfter, IsWhatTheStandardConversionMakesOfFourCharacters) {
    EXPECT_EQ(hexadecimalAfter(GetParam().identifier, "VID_"), GetParam().number);
}

INSTANTIATE_TEST_SUITE_P(
    DeviceIdentifier, HexadecimalAfter,
    testing::Values(
        NumberCase{"FourDigits", R"(USB\VID_1209&PID_0001\A1B2C3)", 0x1209},
        NumberCase{"BothLetterCases", "VID_aBcD", 0xABCD},
        NumberCase{"FifthDigitIsLeftOut", "VID_12345", 0x1234},
        NumberCase{"ThreeDigits", "VID_123&", 0x123}, NumberCase{"OneDigitAtTheEnd", "VID_7", 7},
        NumberCase{"StopsAtTheFirstOther", "VID_1G23", 1},
        NumberCase{"LeadingBlanks", "VID_  12", 0x12}, NumberCase{"LeadingTab", "VID_\t123", 0x123},
        NumberCase{"Plus", "VID_+123", 0x123}, NumberCase{"MinusIsTakenModulo", "VID_-001", 0xFFFF},
        NumberCase{"PrefixOfTheBase", "VID_0x1f", 0x1F},
        NumberCase{"PrefixOfTheBaseInCapitals", "VID_0X1F", 0x1F},
        NumberCase{"PrefixOfTheBaseWithOneDigit", "VID_ 0x9", 9},
        NumberCase{"PrefixOfTheBaseBeforeNoDigit", "VID_0xG1", 0},
        NumberCase{"PrefixOfTheBaseAlone", "VID_0x", 0},
        NumberCase{"PrefixOfTheBaseBeforeABlank", "VID_0x 1", 0},
        NumberCase{"PrefixOfTheBaseCutOff", "VID_000x", 0},
        NumberCase{"PrefixOfTheBaseTwice", "VID_0x0x", 0},
        NumberCase{"SignAndPrefixOfTheBase", "VID_-0x1", 0xFFFF},
        NumberCase{"TwoSigns", "VID_--12", std::nullopt},
        NumberCase{"BlankBehindTheSign", "VID_- 12", std::nullopt},
        NumberCase{"EveryBlank", "VID_\v\f\r7", 7}, NumberCase{"LineBreaks", "VID_\n\r\n8", 8},
        NumberCase{"Highest", "VID_FFFF", 0xFFFF}, NumberCase{"Zero", "VID_0000", 0},
        NumberCase{"FirstOfTwoCounts", "VID_0001VID_0002", 1},
        NumberCase{"FirstOfTwoCountsEvenIfItIsNone", "VID_VID_0002", std::nullopt},
        NumberCase{"NoDigit", "VID_G123", std::nullopt},
        NumberCase{"BlanksOnly", "VID_    1209", std::nullopt},
        NumberCase{"SignOnly", "VID_-", std::nullopt},
        NumberCase{"NothingBehind", "VID_", std::nullopt},
        NumberCase{"NoPrefix", R"(USB\PID_0001\A)", std::nullopt},
        NumberCase{"PrefixInSmallLetters", "vid_1209", std::nullopt},
        NumberCase{"Empty", "", std::nullopt},
        NumberCase{"NulCharacterEndsIt",
                   std::string("VID_1\0"
                               "23",
                               8),
                   1}),
    [](const testing::TestParamInfo<NumberCase>& info) { return info.param.name; });

TEST(DeviceIdentifier, Numbers_AreFoundByTheirOwnPrefixes) {
    const std::string usb = R"(USB\VID_1209&PID_0001\A1B2C3)";
    EXPECT_THAT(hexadecimalAfter(usb, "PID_"), Optional(1));
    EXPECT_EQ(hexadecimalAfter(usb, "VEN_"), std::nullopt);
    const std::string pci = R"(PCI\VEN_8086&DEV_A13D&SUBSYS_0)";
    EXPECT_THAT(hexadecimalAfter(pci, "VEN_"), Optional(0x8086));
    EXPECT_THAT(hexadecimalAfter(pci, "DEV_"), Optional(0xA13D));
    EXPECT_EQ(hexadecimalAfter(pci, "VID_"), std::nullopt);
}

struct SerialCase {
    const char* name;
    std::string identifier;
    std::string serialNumber;
};

void PrintTo(const SerialCase& serial, std::ostream* stream) {
    *stream << serial.identifier;
}

class SerialNumberIn : public testing::TestWithParam<SerialCase> {};

TEST_P(SerialNumberIn, IsTakenFromTheIdentifier) {
    EXPECT_EQ(serialNumberIn(GetParam().identifier), GetParam().serialNumber);
}

INSTANTIATE_TEST_SUITE_P(
    DeviceIdentifier, SerialNumberIn,
    testing::Values(
        SerialCase{"Usb", R"(USB\VID_1209&PID_0001\A1B2C3)", "A1B2C3"},
        SerialCase{"UsbWithSuffix", R"(USB\VID_1209&PID_0001\A1B2C3_00)", "A1B2C3"},
        SerialCase{"UsbSuffixOfOneCharacterStays", R"(USB\VID_1209&PID_0001\A1B2C3_0)", "A1B2C3_0"},
        SerialCase{"UsbSuffixOfThreeCharactersStays", R"(USB\VID_1209&PID_0001\A1B2C_000)",
                   "A1B2C_000"},
        SerialCase{"UsbFirstUnderscoreCounts", R"(USB\VID_1209&PID_0001\A_B2C3_00)", "A_B2C3_00"},
        SerialCase{"UsbTwoUnderscoresAtTheEnd", R"(USB\VID_1209&PID_0001\A1B2C3__0)", "A1B2C3"},
        SerialCase{"UsbAmpersandInTheSuffixIsCutOff", R"(USB\VID_1209&PID_0001\A1B2_&0)", "A1B2"},
        SerialCase{"UsbUnderscoresBeforeTheLastComponentDoNotCount", R"(USB\VID_12\AB)", "AB"},
        SerialCase{"UsbSuffixAlone", R"(USB\VID_1209&PID_0001\_00)", ""},
        SerialCase{"UsbGeneratedName", R"(USB\VID_1209&PID_0001&MI_00\6&2AB3&0&0000)", ""},
        SerialCase{"UsbGeneratedNameWithSuffix", R"(USB\VID_1209&PID_0001\6&2AB3_00)", ""},
        SerialCase{"UsbEmptyLastComponent", R"(USB\VID_1209&PID_0001\)", ""},
        SerialCase{"UsbOneComponent", R"(USB\A1)", "A1"}, SerialCase{"UsbNothing", R"(USB\)", ""},
        SerialCase{"UsbManyComponents", R"(USB\VID_1209\B\C)", "C"},
        SerialCase{"UsbInSmallLetters", R"(usb\VID_1209&PID_0001\A1B2C3)", ""},
        SerialCase{"UsbNotAtTheBeginning", R"(XUSB\VID_1209&PID_0001\A1B2C3)", ""},
        SerialCase{"UsbWithoutBackslash", "USB", ""},
        SerialCase{"UsbHub", R"(USB4\VID_1209&PID_0001\A1B2C3)", ""},
        SerialCase{"Ftdi", R"(FTDIBUS\VID_1209+PID_0001+A1B2C3A\0000)", "A1B2C3A"},
        SerialCase{"FtdiUnderscoreStays", R"(FTDIBUS\VID_1209+PID_0001+A1B2_00\0000)", "A1B2_00"},
        SerialCase{"FtdiAmpersandStays", R"(FTDIBUS\VID_1209+PID_0001+5&A\0000)", "5&A"},
        SerialCase{"FtdiLastPlusCounts", R"(FTDIBUS\A+B+C+D\0000)", "D"},
        SerialCase{"FtdiNextBackslashCounts", R"(FTDIBUS\A+B\C\D)", "B"},
        SerialCase{"FtdiPlusBehindTheLastBackslash", R"(FTDIBUS\VID_1209\A+B)", ""},
        SerialCase{"FtdiWithoutPlus", R"(FTDIBUS\VID_1209\0000)", ""},
        SerialCase{"FtdiWithoutBackslashBehindThePlus", "FTDIBUS\\VID_1209+PID_0001+A1B2C3A", ""},
        SerialCase{"FtdiNothingBetween", R"(FTDIBUS\VID_1209+PID_0001+\0000)", ""},
        SerialCase{"FtdiNothing", R"(FTDIBUS\)", ""},
        SerialCase{"Pci", R"(PCI\VEN_8086&DEV_A13D\A1B2C3)", ""}, SerialCase{"Empty", "", ""}),
    [](const testing::TestParamInfo<SerialCase>& info) { return info.param.name; });

TEST(DeviceIdentifier, SerialNumber_MayBeAsLongAsTheIdentifierAllows) {
    const std::string serialNumber(190, 'A');
    EXPECT_EQ(serialNumberIn("USB\\X\\" + serialNumber), serialNumber);
}

} // namespace
} // namespace ridge
