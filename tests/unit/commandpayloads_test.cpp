#include "commandpayloads.h"

#include "hexbytes.h"
#include "throwsridgeexception.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <string>
#include <vector>

namespace ridge {
namespace {

using test::hexBytes;
using test::ramp;
using test::throwsRidgeException;
using Bytes = std::vector<std::uint8_t>;

Bytes joined(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

TEST(StartCapturePayload, LargestValues_AreTaken) {
    EXPECT_EQ(encodeStartCapture(10, 30000, 1, true, {}), hexBytes("0A 00 00 75 30 00 00 00 09"));
}

TEST(StartCapturePayload, SmallestValues_AreTaken) {
    EXPECT_EQ(encodeStartCapture(0, 0, 0, false, {}), hexBytes("00 00 00 00 00 00 00 00 00"));
}

TEST(StartCapturePayload, NumbersAreBigEndian) {
    EXPECT_EQ(encodeStartCapture(1, 0x1234, 0x12345677, false, {}),
              hexBytes("01 00 00 12 34 12 34 56 77"));
}

TEST(StartCapturePayload, EventsWanted_SetBit3AndNothingElse) {
    EXPECT_EQ(encodeStartCapture(1, 0, 0, true, {}), hexBytes("01 00 00 00 00 00 00 00 08"));
    EXPECT_EQ(encodeStartCapture(1, 0, 0x8, true, {}), hexBytes("01 00 00 00 00 00 00 00 08"));
    EXPECT_EQ(encodeStartCapture(1, 0, 0x70, true, {}), hexBytes("01 00 00 00 00 00 00 00 78"));
}

TEST(StartCapturePayload, EventsNotWanted_LeaveBit3AsTheCallerSetIt) {
    EXPECT_EQ(encodeStartCapture(1, 0, 0x8, false, {}), hexBytes("01 00 00 00 00 00 00 00 08"));
}

TEST(StartCapturePayload, NegativeParameter_KeepsItsBits) {
    EXPECT_EQ(encodeStartCapture(1, 0, -2, false, {}), hexBytes("01 00 00 00 00 FF FF FF FE"));
}

TEST(StartCapturePayload, Block_FollowsTheNumbers) {
    const Bytes payload = encodeStartCapture(2, 5000, 3, false, ramp(256));
    EXPECT_EQ(payload, joined(hexBytes("02 00 00 13 88 00 00 00 03"), ramp(256)));
    EXPECT_EQ(payload.size(), 265U);
}

TEST(StartCapturePayload, OfALongerBlock_TheFirst256BytesAreTaken) {
    EXPECT_EQ(encodeStartCapture(2, 5000, 3, false, ramp(300)),
              joined(hexBytes("02 00 00 13 88 00 00 00 03"), ramp(256)));
}

TEST(StartCapturePayload, Mode11_IsRefusedWithReason2) {
    EXPECT_THAT([] { return encodeStartCapture(11, 30000, 1, false, {}); },
                throwsRidgeException(6, "Failed to start capture (2)."));
    EXPECT_THAT([] { return encodeStartCapture(255, 0, 1, false, {}); },
                throwsRidgeException(6, "Failed to start capture (2)."));
}

TEST(StartCapturePayload, TimeOutOf30001_IsRefusedWithReason3) {
    EXPECT_THAT([] { return encodeStartCapture(10, 30001, 1, false, {}); },
                throwsRidgeException(6, "Failed to start capture (3)."));
    EXPECT_THAT([] { return encodeStartCapture(10, 0xFFFFFFFF, 1, false, {}); },
                throwsRidgeException(6, "Failed to start capture (3)."));
}

TEST(StartCapturePayload, ModeIsCheckedBeforeTheTimeOut) {
    EXPECT_THAT([] { return encodeStartCapture(11, 30001, 1, false, {}); },
                throwsRidgeException(6, "Failed to start capture (2)."));
}

TEST(StartHostAssistedCapturePayload, ModeAndParameter_AreBigEndian) {
    EXPECT_EQ(encodeStartHostAssistedCapture(10, 1, {}), hexBytes("0A 00 00 00 01"));
    EXPECT_EQ(encodeStartHostAssistedCapture(0, 0xFEDCBA98, {}), hexBytes("00 FE DC BA 98"));
}

TEST(StartHostAssistedCapturePayload, Block_FollowsTheNumbers) {
    const Bytes payload = encodeStartHostAssistedCapture(3, 0x10, ramp(256));
    EXPECT_EQ(payload, joined(hexBytes("03 00 00 00 10"), ramp(256)));
    EXPECT_EQ(payload.size(), 261U);
}

TEST(StartHostAssistedCapturePayload, OfALongerBlock_TheFirst256BytesAreTaken) {
    EXPECT_EQ(encodeStartHostAssistedCapture(3, 0x10, ramp(257)),
              joined(hexBytes("03 00 00 00 10"), ramp(256)));
}

TEST(StartHostAssistedCapturePayload, Mode11_IsRefusedWithReason2) {
    EXPECT_THAT([] { return encodeStartHostAssistedCapture(11, 1, {}); },
                throwsRidgeException(6, "Failed to start host assisted capture (2)."));
}

TEST(StartHostAssistedCapturePayload, Parameter0_IsRefusedWithReason1) {
    EXPECT_THAT([] { return encodeStartHostAssistedCapture(10, 0, {}); },
                throwsRidgeException(6, "Failed to start host assisted capture (1)."));
}

TEST(StartHostAssistedCapturePayload, ModeIsCheckedBeforeTheParameter) {
    EXPECT_THAT([] { return encodeStartHostAssistedCapture(11, 0, {}); },
                throwsRidgeException(6, "Failed to start host assisted capture (2)."));
}

TEST(CaptureMaskAnswer, HalvesAreSwapped) {
    const CaptureMask mask = decodeCaptureMask(ramp(64));
    for (std::size_t index = 0; index < 64; ++index) {
        EXPECT_EQ(mask[index], (index + 32) % 64) << "index " << index;
    }
}

TEST(CaptureMaskAnswer, OfAnotherSize_IsRefusedWithTheSize) {
    EXPECT_THAT([] { return decodeCaptureMask(ramp(63)); },
                throwsRidgeException(6, "Invalid host assisted capture response (63)."));
    EXPECT_THAT([] { return decodeCaptureMask(ramp(65)); },
                throwsRidgeException(6, "Invalid host assisted capture response (65)."));
    EXPECT_THAT([] { return decodeCaptureMask({}); },
                throwsRidgeException(6, "Invalid host assisted capture response (0)."));
}

/// Noise of 0xA0 everywhere but in the byte that chooses the verdict's place.
VerdictNoise noiseWith(std::uint8_t choice) {
    VerdictNoise noise{};
    noise.fill(0xA0);
    noise[64] = choice;
    return noise;
}

TEST(HostAssistedCaptureResultPayload, ChoiceOf40_UsesPlace1) {
    Bytes expected(64, 0xA0);
    expected[0] = 1;
    expected[1] = 1;
    expected[2] = 1;
    EXPECT_EQ(encodeHostAssistedCaptureResult(noiseWith(0x40), CaptureMask{}, true), expected);
    expected[1] = 0;
    EXPECT_EQ(encodeHostAssistedCaptureResult(noiseWith(0x40), CaptureMask{}, false), expected);
}

TEST(HostAssistedCaptureResultPayload, Choice63_RepeatsThePlaceBeforeTheVerdict) {
    Bytes expected(64, 0xA0);
    expected[0] = 63;
    expected[62] = 63;
    expected[63] = 1;
    EXPECT_EQ(encodeHostAssistedCaptureResult(noiseWith(63), CaptureMask{}, true), expected);
}

TEST(HostAssistedCaptureResultPayload, EveryChoice_HidesTheVerdictInItsPlace) {
    for (unsigned choice = 0; choice < 256; ++choice) {
        for (const bool accepted : {false, true}) {
            const unsigned place = choice % 64 == 0 ? 1 : choice % 64;
            Bytes expected(64, 0xA0);
            expected[0] = static_cast<std::uint8_t>(place);
            expected[place] = accepted ? 1 : 0;
            expected[place == 63 ? 62 : place + 1] = static_cast<std::uint8_t>(place);
            EXPECT_EQ(encodeHostAssistedCaptureResult(noiseWith(static_cast<std::uint8_t>(choice)),
                                                      CaptureMask{}, accepted),
                      expected)
                << "choice " << choice;
        }
    }
}

TEST(HostAssistedCaptureResultPayload, EveryByte_IsMasked) {
    CaptureMask mask{};
    std::iota(mask.begin(), mask.end(), std::uint8_t{0x80});
    const Bytes plain = encodeHostAssistedCaptureResult(noiseWith(5), CaptureMask{}, true);
    const Bytes masked = encodeHostAssistedCaptureResult(noiseWith(5), mask, true);
    ASSERT_EQ(masked.size(), 64U);
    for (std::size_t index = 0; index < 64; ++index) {
        EXPECT_EQ(masked[index], plain[index] ^ (0x80 + index)) << "index " << index;
    }
}

const Bytes infoAnswer = hexBytes("00 01 41 00 02 42 42 00 03 43 43 43 00 00 00 01 45 00 01 46 "
                                  "00 02 C3 9F 12 34 56 78 00 1F 00 0F");

TEST(DeviceInfoAnswer, Fields_AreDecodedInOrder) {
    const DeviceInfo info = decodeDeviceInfo(infoAnswer);
    EXPECT_EQ(info.text1, "A");
    EXPECT_EQ(info.text2, "BB");
    EXPECT_EQ(info.text3, "CCC");
    EXPECT_EQ(info.text4, "");
    EXPECT_EQ(info.text5, "E");
    EXPECT_EQ(info.text6, "F");
    EXPECT_EQ(info.text7, "\xC3\x9F");
    EXPECT_EQ(info.value1, 0x1234);
    EXPECT_EQ(info.value2, 0x5678);
    EXPECT_EQ(info.flags, 0x001F000FU);
}

TEST(DeviceInfoAnswer, SevenEmptyTexts_MakeTheSmallestAnswer) {
    const DeviceInfo info =
        decodeDeviceInfo(hexBytes("0000 0000 0000 0000 0000 0000 0000 0001 0002 00000003"));
    EXPECT_EQ(info.text1 + info.text2 + info.text3 + info.text4 + info.text5 + info.text6 +
                  info.text7,
              "");
    EXPECT_EQ(info.value1, 1);
    EXPECT_EQ(info.value2, 2);
    EXPECT_EQ(info.flags, 3U);
}

TEST(DeviceInfoAnswer, TextLength_TakesBothBytes) {
    Bytes answer = hexBytes("01 02");
    answer.insert(answer.end(), 0x102, 'x');
    answer = joined(answer, Bytes(20));
    EXPECT_EQ(decodeDeviceInfo(answer).text1, std::string(0x102, 'x'));
}

TEST(DeviceInfoAnswer, TextsMayHoldZeroBytes) {
    Bytes answer = joined(hexBytes("00 03 61 00 62"), Bytes(20));
    EXPECT_EQ(decodeDeviceInfo(answer).text1, std::string("a\0b", 3));
}

TEST(DeviceInfoAnswer, BytesAfterTheFlags_AreIgnored) {
    EXPECT_EQ(decodeDeviceInfo(joined(infoAnswer, hexBytes("FF FF FF"))).flags, 0x001F000FU);
}

TEST(DeviceInfoAnswer, CutOffAnywhere_IsRefused) {
    for (std::size_t size = 0; size < infoAnswer.size(); ++size) {
        EXPECT_THAT(
            [&] {
                return decodeDeviceInfo(Bytes(
                    infoAnswer.begin(), infoAnswer.begin() + static_cast<std::ptrdiff_t>(size)));
            },
            throwsRidgeException(10, "Invalid device info data."))
            << "size " << size;
    }
}

TEST(DeviceInfoAnswer, TextLongerThanTheAnswer_IsRefused) {
    EXPECT_THAT([] { return decodeDeviceInfo(joined(hexBytes("FF FF"), Bytes(100))); },
                throwsRidgeException(10, "Invalid device info data."));
}

TEST(DeviceSettingsAnswer, FiveBytes_AreRotationAndFlags) {
    const DeviceSettings settings = decodeDeviceSettings(hexBytes("03 12 34 56 78"));
    EXPECT_EQ(settings.rotation, 3);
    EXPECT_EQ(settings.flags, 0x12345678U);
}

TEST(DeviceSettingsAnswer, OfAnotherSize_IsRefusedWithReason1) {
    for (const char* answer : {"", "00", "00 00 00 00", "00 00 00 00 00 00", "04 00 00 00"}) {
        EXPECT_THAT([&] { decodeDeviceSettings(hexBytes(answer)); },
                    throwsRidgeException(10, "Invalid device settings data (1)."))
            << answer;
    }
}

TEST(DeviceSettingsAnswer, RotationAbove3_IsRefusedWithReason4) {
    EXPECT_THAT([] { decodeDeviceSettings(hexBytes("04 00 00 00 00")); },
                throwsRidgeException(10, "Invalid device settings data (4)."));
    EXPECT_THAT([] { decodeDeviceSettings(hexBytes("FF 00 00 00 00")); },
                throwsRidgeException(10, "Invalid device settings data (4)."));
}

TEST(DeviceSettingsPayload, RotationAndFlags_AreFiveBytes) {
    EXPECT_EQ(encodeDeviceSettings({3, 0xFEDCBA98}), hexBytes("03 FE DC BA 98"));
    EXPECT_EQ(encodeDeviceSettings({0, 2}), hexBytes("00 00 00 00 02"));
}

TEST(DeviceSettingsPayload, RotationAbove3_IsRefusedWithReason4) {
    EXPECT_THAT(
        [] {
            return encodeDeviceSettings({4, 0});
        },
        throwsRidgeException(6, "Failed to create device settings command (4)."));
    EXPECT_THAT(
        [] {
            return encodeDeviceSettings({255, 0});
        },
        throwsRidgeException(6, "Failed to create device settings command (4)."));
}

TEST(CertificatePayload, Bytes_GoAsTheyAre) {
    const Bytes certificate = ramp(6000);
    EXPECT_EQ(encodeCertificate(certificate.data(), 6000), certificate);
    EXPECT_EQ(encodeCertificate(certificate.data(), 1), hexBytes("00"));
}

TEST(CertificatePayload, NullPointer_IsRefusedFirst) {
    EXPECT_THAT([] { return encodeCertificate(nullptr, 100); },
                throwsRidgeException(2, "Certificate cannot be NULL."));
    EXPECT_THAT([] { return encodeCertificate(nullptr, 0); },
                throwsRidgeException(2, "Certificate cannot be NULL."));
}

TEST(CertificatePayload, SizeOutsideOneToSixThousand_IsRefused) {
    const Bytes certificate = ramp(6001);
    EXPECT_THAT([&] { return encodeCertificate(certificate.data(), 6001); },
                throwsRidgeException(2, "Invalid certificate size 6001."));
    EXPECT_THAT([&] { return encodeCertificate(certificate.data(), 0); },
                throwsRidgeException(2, "Invalid certificate size 0."));
    EXPECT_THAT([&] { return encodeCertificate(certificate.data(), -1); },
                throwsRidgeException(2, "Invalid certificate size -1."));
}

TEST(KeyPayload, EachKeyByte_IsTheXorOfAPair) {
    std::array<std::uint8_t, 32> noise{};
    std::iota(noise.begin(), noise.end(), std::uint8_t{0x40});
    Bytes key = ramp(32);
    key[0] = 0xFF;
    const Bytes payload = encodeKey(noise, key.data());
    ASSERT_EQ(payload.size(), 64U);
    EXPECT_EQ(Bytes(payload.begin(), payload.begin() + 6), hexBytes("40 BF 41 40 42 40"));
    for (std::size_t index = 0; index < 32; ++index) {
        EXPECT_EQ(payload[2 * index], 0x40 + index) << "index " << index;
        EXPECT_EQ(payload[2 * index] ^ payload[2 * index + 1], key[index]) << "index " << index;
    }
}

TEST(KeyPayload, ZeroKey_SendsEachRandomByteTwice) {
    std::array<std::uint8_t, 32> noise{};
    std::iota(noise.begin(), noise.end(), std::uint8_t{0x40});
    const Bytes key(32);
    const Bytes payload = encodeKey(noise, key.data());
    for (std::size_t index = 0; index < 32; ++index) {
        EXPECT_EQ(payload[2 * index], noise[index]);
        EXPECT_EQ(payload[2 * index + 1], noise[index]);
    }
}

Bytes fieldBytes(const std::string& text) {
    Bytes bytes{static_cast<std::uint8_t>(text.size() / 256),
                static_cast<std::uint8_t>(text.size() % 256)};
    bytes.insert(bytes.end(), text.begin(), text.end());
    return bytes;
}

/// Unchecked, in the order of the wire.
CsrName csrName(const std::array<std::string, 6>& fields) {
    CsrName name;
    name.commonName = fields[0];
    name.country = fields[1];
    name.locality = fields[2];
    name.organization = fields[3];
    name.organizationalUnit = fields[4];
    name.stateOrProvince = fields[5];
    return name;
}

TEST(CsrNamePayload, Fields_FollowOneAnotherWithTheirLengths) {
    EXPECT_EQ(encodeCsrName(csrName({"Ann", "DE", "L", "Or", "Unit", "State"})),
              hexBytes("0003 416E6E 0002 4445 0001 4C 0002 4F72 0004 556E6974 0005 5374617465"));
}

TEST(CsrNamePayload, EmptyFields_AreTwoZeroBytes) {
    EXPECT_EQ(encodeCsrName(csrName({"A", "", "", "", "", ""})),
              hexBytes("0001 41 0000 0000 0000 0000 0000"));
}

TEST(CsrNamePayload, LargestFields_Make1806Bytes) {
    const CsrName name =
        csrName({std::string(256, 'a'), "DE", std::string(512, 'c'), std::string(256, 'd'),
                 std::string(256, 'e'), std::string(512, 'f')});
    Bytes expected;
    for (const std::string& field :
         {name.commonName, name.country, name.locality, name.organization, name.organizationalUnit,
          name.stateOrProvince}) {
        expected = joined(expected, fieldBytes(field));
    }
    ASSERT_EQ(expected.size(), 1806U);
    EXPECT_EQ(encodeCsrName(name), expected);
}

TEST(CsrNamePayload, FieldThatBreaksItsLimit_IsRefusedWithReason1) {
    const CsrName valid = csrName({"Ann", "DE", "L", "Or", "Unit", "State"});
    ASSERT_NO_THROW(encodeCsrName(valid));
    const auto expectRefused = [&valid](std::string CsrName::*field, const std::string& text) {
        CsrName name = valid;
        name.*field = text;
        EXPECT_THAT([&] { return encodeCsrName(name); },
                    throwsRidgeException(6, "Failed to create create CSR command (1)."))
            << text.size() << " bytes";
    };
    expectRefused(&CsrName::commonName, "");
    expectRefused(&CsrName::commonName, std::string(257, 'a'));
    expectRefused(&CsrName::country, "D");
    expectRefused(&CsrName::country, "DEU");
    expectRefused(&CsrName::locality, std::string(513, 'a'));
    expectRefused(&CsrName::organization, std::string(257, 'a'));
    expectRefused(&CsrName::organizationalUnit, std::string(257, 'a'));
    expectRefused(&CsrName::stateOrProvince, std::string(513, 'a'));
    expectRefused(&CsrName::stateOrProvince, std::string(70000, 'a'));
}

} // namespace
} // namespace ridge
