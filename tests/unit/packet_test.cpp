#include "packet.h"

#include "hexbytes.h"
#include "throwsridgeexception.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace ridge {
namespace {

using test::hexBytes;
using test::throwsRidgeException;
using Bytes = std::vector<std::uint8_t>;

Packet packetOf(std::uint32_t type, std::uint8_t code, const Bytes& payload = {}) {
    return {type, code, payload.data(), payload.size()};
}

/// The bytes of a packet whose length field is `length` and whose checksum is right.
Bytes wireBytes(std::uint8_t type, std::uint16_t length, std::uint8_t code, const Bytes& payload) {
    Bytes bytes;
    bytes.reserve(payload.size() + 5);
    bytes.assign(
        {type, static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length), code});
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    unsigned sum = 0;
    for (std::size_t position = 1; position < bytes.size(); ++position) {
        sum += bytes[position];
    }
    bytes.push_back(static_cast<std::uint8_t>((0x100 - sum % 256) % 256));
    return bytes;
}

std::unique_ptr<Packet> parse(const Bytes& bytes) {
    return Packet::parse(bytes.data(), bytes.size());
}

struct Status {
    bool success;
    std::uint8_t errorCode;
    std::string errorText;

    bool operator==(const Status&) const = default;
};

Status statusOf(const Packet& response, std::uint8_t expectedCode, bool requireData) {
    Status status{false, 0, {}};
    status.success = readResponseStatus(response, expectedCode, "PING", requireData,
                                        status.errorCode, status.errorText);
    return status;
}

TEST(PacketConstruction, KeepsTypeCodeAndACopyOfThePayload) {
    Bytes payload = hexBytes("01 02 03");
    const Packet packet = packetOf(0x81, 0x31, payload);
    payload[0] = 0xFF;
    EXPECT_EQ(packet.type, 0x81U);
    EXPECT_EQ(packet.code, 0x31);
    EXPECT_EQ(packet.data, hexBytes("01 02 03"));
}

TEST(PacketConstruction, NullPayload_IsEmptyWhateverTheLength) {
    EXPECT_TRUE(Packet(0x01, 0x31, nullptr, 20000).data.empty());
    EXPECT_TRUE(Packet(0x01, 0x31).data.empty());
}

TEST(PacketConstruction, PayloadOf10000Bytes_IsTaken) {
    EXPECT_EQ(packetOf(0x01, 0x13, Bytes(10000, 0xAB)).data, Bytes(10000, 0xAB));
}

TEST(PacketConstruction, PayloadOf10001Bytes_IsRefused) {
    EXPECT_THAT([] { packetOf(0x01, 0x13, Bytes(10001)); },
                throwsRidgeException(6, "Invalid packet data length 10001"));
}

TEST(PacketSerialize, EmptyPayload_GivesFiveBytes) {
    EXPECT_EQ(packetOf(0x01, 0x31).serialize(), hexBytes("01 00 01 31 CE"));
}

TEST(PacketSerialize, PayloadFollowsTheCode_AndCountsInLengthAndChecksum) {
    EXPECT_EQ(packetOf(0x81, 0x15, hexBytes("03 00 00 00 02")).serialize(),
              hexBytes("81 00 06 15 03 00 00 00 02 E0"));
}

TEST(PacketSerialize, ChecksumOfASumOf256_IsZero) {
    EXPECT_EQ(packetOf(0x01, 0x80, hexBytes("7E")).serialize(), hexBytes("01 00 02 80 7E 00"));
}

TEST(PacketSerialize, OnlyTheLowByteOfTheTypeIsSent_AndNoChecksumCoversIt) {
    EXPECT_EQ(packetOf(0xAABBCC01, 0x31).serialize(), hexBytes("01 00 01 31 CE"));
    EXPECT_EQ(packetOf(0x77, 0x31).serialize(), hexBytes("77 00 01 31 CE"));
}

TEST(PacketSerialize, PayloadOf10000Bytes_Gives10005WithLengthField2711) {
    const Bytes payload(10000, 0x5A);
    const Bytes bytes = packetOf(0x01, 0x13, payload).serialize();
    ASSERT_EQ(bytes.size(), 10005U);
    EXPECT_EQ(bytes, wireBytes(0x01, 0x2711, 0x13, payload));
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 4), hexBytes("01 27 11 13"));
}

TEST(PacketSerialize, PayloadGrownTo10001Bytes_IsRefused) {
    Packet packet = packetOf(0x01, 0x13, Bytes(10000));
    packet.data.push_back(0);
    EXPECT_THAT([&] { return packet.serialize(); },
                throwsRidgeException(6, "Failed to serialize packet!"));
}

TEST(Checksum, OfNothing_IsZero) {
    EXPECT_EQ(checksum(nullptr, 0), 0);
}

TEST(Checksum, IsTheTwosComplementOfTheSum) {
    const Bytes bytes = hexBytes("00 01 31");
    EXPECT_EQ(checksum(bytes.data(), bytes.size()), 0xCE);
}

TEST(Checksum, SumsWrapAroundAtEightBits) {
    const Bytes bytes(10003, 0xFF);
    // 10003 * 255 = -10003 modulo 256.
    EXPECT_EQ(checksum(bytes.data(), bytes.size()), 10003 % 256);
}

TEST(Checksum, EveryLengthAndAlignment_AgreesWithBytewiseSumming) {
    std::mt19937 generator(20240131);
    Bytes bytes(300);
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(generator());
    }
    for (std::size_t start = 0; start < 40; ++start) {
        unsigned sum = 0;
        for (std::size_t count = 0; start + count < bytes.size(); ++count) {
            ASSERT_EQ(checksum(&bytes[start], count), static_cast<std::uint8_t>(256 - sum % 256))
                << "start " << start << ", count " << count;
            sum += bytes[start + count];
        }
    }
}

TEST(PacketParse, SmallestPacket_HasNoPayload) {
    const std::unique_ptr<Packet> packet = parse(hexBytes("01 00 01 31 CE"));
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->type, 0x01U);
    EXPECT_EQ(packet->code, 0x31);
    EXPECT_TRUE(packet->data.empty());
}

TEST(PacketParse, Response_HasItsPayload) {
    const std::unique_ptr<Packet> packet = parse(hexBytes("81 00 06 15 03 00 00 00 02 E0"));
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->type, 0x81U);
    EXPECT_EQ(packet->code, 0x15);
    EXPECT_EQ(packet->data, hexBytes("03 00 00 00 02"));
}

TEST(PacketParse, LargestPacket_IsTaken) {
    const std::unique_ptr<Packet> packet = parse(wireBytes(0x81, 10001, 0x11, Bytes(10000, 0x7E)));
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->data, Bytes(10000, 0x7E));
}

TEST(PacketParse, PayloadOf10001Bytes_IsInvalid) {
    EXPECT_EQ(parse(wireBytes(0x81, 10002, 0x11, Bytes(10001))), nullptr);
}

TEST(PacketParse, FewerThanFiveBytes_AreInvalid) {
    EXPECT_EQ(Packet::parse(nullptr, 0), nullptr);
    EXPECT_EQ(parse(hexBytes("7F")), nullptr);
    EXPECT_EQ(parse(hexBytes("81 00 01")), nullptr);
    // A length of 0 fits its four bytes, checksum included, and yet they are too few.
    EXPECT_EQ(parse(hexBytes("81 00 00 00")), nullptr);
}

TEST(PacketParse, LengthZeroInFiveBytes_IsInvalid) {
    EXPECT_EQ(parse(hexBytes("01 00 00 31 CF")), nullptr);
}

TEST(PacketParse, LengthThatDisagreesWithTheSize_IsInvalid) {
    EXPECT_EQ(parse(wireBytes(0x81, 2, 0x31, {})), nullptr);
    EXPECT_EQ(parse(wireBytes(0x81, 1, 0x31, hexBytes("00"))), nullptr);
    EXPECT_EQ(parse(wireBytes(0x81, 0x0101, 0x31, {})), nullptr);
}

TEST(PacketParse, ChangeOfAnyByteButTheType_IsInvalid) {
    const Bytes valid = wireBytes(0x81, 5, 0x31, hexBytes("10 20 30 40"));
    ASSERT_NE(parse(valid), nullptr);
    for (std::size_t position = 1; position < valid.size(); ++position) {
        Bytes changed = valid;
        changed[position] ^= 0x01;
        EXPECT_EQ(parse(changed), nullptr) << "position " << position;
    }
}

TEST(PacketParse, OnlyRequestAndResponseTypesAreValid) {
    for (unsigned type = 0; type < 256; ++type) {
        const bool known = type == 0x01 || type == 0x81;
        EXPECT_EQ(parse(wireBytes(static_cast<std::uint8_t>(type), 1, 0x31, {})) != nullptr, known)
            << "type " << type;
    }
}

TEST(PacketParse, SerializedPackets_ComeBack) {
    std::mt19937 generator(7);
    for (std::size_t size : {0U, 1U, 2U, 255U, 256U, 9999U, 10000U}) {
        Bytes payload(size);
        for (std::uint8_t& byte : payload) {
            byte = static_cast<std::uint8_t>(generator());
        }
        const std::unique_ptr<Packet> packet = parse(packetOf(0x81, 0x91, payload).serialize());
        ASSERT_NE(packet, nullptr) << "size " << size;
        EXPECT_EQ(packet->type, 0x81U);
        EXPECT_EQ(packet->code, 0x91);
        EXPECT_EQ(packet->data, payload);
    }
}

TEST(ReadResponseStatus, ExpectedCode_IsSuccess) {
    EXPECT_EQ(statusOf(packetOf(0x81, 0x31, hexBytes("00")), 0x31, true), (Status{true, 0, ""}));
}

TEST(ReadResponseStatus, SuccessWithoutPayload_PassesWhenNoDataIsRequired) {
    EXPECT_EQ(statusOf(packetOf(0x81, 0x31), 0x31, false), (Status{true, 0, ""}));
}

TEST(ReadResponseStatus, SuccessWithoutRequiredPayload_Throws) {
    EXPECT_THAT([] { statusOf(packetOf(0x81, 0x31), 0x31, true); },
                throwsRidgeException(9, "PING: Missing response data"));
}

TEST(ReadResponseStatus, TypeOtherThanResponse_Throws) {
    EXPECT_THAT([] { statusOf(packetOf(0x01, 0x31), 0x31, false); },
                throwsRidgeException(14, "PING: Invalid response type 1."));
}

TEST(ReadResponseStatus, TypeIsCheckedWithAllItsBits) {
    EXPECT_THAT([] { statusOf(packetOf(0x181, 0x31), 0x31, false); },
                throwsRidgeException(14, "PING: Invalid response type 385."));
}

TEST(ReadResponseStatus, TypeIsCheckedBeforeTheCode) {
    EXPECT_THAT([] { statusOf(packetOf(0x01, 0x32), 0x31, true); },
                throwsRidgeException(14, "PING: Invalid response type 1."));
}

TEST(ReadResponseStatus, CodeOfAnotherCommand_Throws) {
    EXPECT_THAT([] { statusOf(packetOf(0x81, 0x30), 0x31, false); },
                throwsRidgeException(9, "PING: Invalid response code 48. Expected 49."));
}

TEST(ReadResponseStatus, FailureCodeOfAnotherCommand_Throws) {
    EXPECT_THAT([] { statusOf(packetOf(0x81, 0xB0, hexBytes("01 00 00")), 0x31, false); },
                throwsRidgeException(9, "PING: Invalid response code 176. Expected 49."));
}

TEST(ReadResponseStatus, ExpectedCodeIsNamedWithoutItsFailureBit) {
    EXPECT_THAT([] { statusOf(packetOf(0x81, 0x30), 0xB1, false); },
                throwsRidgeException(9, "PING: Invalid response code 48. Expected 49."));
}

TEST(ReadResponseStatus, FailureWithFewerThanThreeBytes_ThrowsWithTheirCount) {
    EXPECT_THAT([] { statusOf(packetOf(0x81, 0xB1), 0x31, false); },
                throwsRidgeException(13, "PING: Failed (49/0). No error code available"));
    EXPECT_THAT([] { statusOf(packetOf(0x81, 0xB1, hexBytes("05")), 0x31, false); },
                throwsRidgeException(13, "PING: Failed (49/1). No error code available"));
    EXPECT_THAT([] { statusOf(packetOf(0x81, 0xB1, hexBytes("05 00")), 0x31, false); },
                throwsRidgeException(13, "PING: Failed (49/2). No error code available"));
}

TEST(ReadResponseStatus, FailureWithoutText_GivesTheErrorCode) {
    EXPECT_EQ(statusOf(packetOf(0x81, 0xB1, hexBytes("FE 00 00")), 0x31, false),
              (Status{false, 254, ""}));
}

TEST(ReadResponseStatus, FailureWithText_GivesBoth) {
    EXPECT_EQ(statusOf(packetOf(0x81, 0xB1, hexBytes("05 00 02 6F 6B")), 0x31, false),
              (Status{false, 5, "ok"}));
}

TEST(ReadResponseStatus, TextOfOneCharacter_IsAText) {
    EXPECT_EQ(statusOf(packetOf(0x81, 0xB1, hexBytes("05 00 01 21")), 0x31, false),
              (Status{false, 5, "!"}));
}

TEST(ReadResponseStatus, FailureNeedsNoData_EvenWhenDataIsRequired) {
    EXPECT_EQ(statusOf(packetOf(0x81, 0xB1, hexBytes("07 00 00")), 0x31, true),
              (Status{false, 7, ""}));
}

TEST(ReadResponseStatus, TextLengthTakesBothBytes) {
    Bytes payload = hexBytes("05 01 02");
    payload.insert(payload.end(), 0x102, 'x');
    EXPECT_EQ(statusOf(packetOf(0x81, 0xB1, payload), 0x31, false),
              (Status{false, 5, std::string(0x102, 'x')}));
}

TEST(ReadResponseStatus, WrongTextLength_GivesNoText) {
    const Status noText{false, 1, ""};
    EXPECT_EQ(statusOf(packetOf(0x81, 0xB1, hexBytes("01 00 05 61 62 63")), 0x31, false), noText);
    EXPECT_EQ(statusOf(packetOf(0x81, 0xB1, hexBytes("01 00 02 61 62 63")), 0x31, false), noText);
    EXPECT_EQ(statusOf(packetOf(0x81, 0xB1, hexBytes("01 00 00 61 62 63")), 0x31, false), noText);
    EXPECT_EQ(statusOf(packetOf(0x81, 0xB1, hexBytes("01 FF FF")), 0x31, false), noText);
}

TEST(ReadResponseStatus, FailureWithoutText_EmptiesAnOldText) {
    std::uint8_t errorCode = 99;
    std::string errorText = "old";
    EXPECT_FALSE(readResponseStatus(packetOf(0x81, 0xB1, hexBytes("01 00 00")), 0x31, "PING", false,
                                    errorCode, errorText));
    EXPECT_EQ(errorCode, 1);
    EXPECT_EQ(errorText, "");
}

TEST(VerifyResponse, Success_ReturnsNothing) {
    EXPECT_NO_THROW(verifyResponse(packetOf(0x81, 0x31), 0x31, "PING", false));
    EXPECT_NO_THROW(verifyResponse(packetOf(0x81, 0x30, hexBytes("00")), 0x30, "X", true));
}

TEST(VerifyResponse, FailureWithText_ThrowsBoth) {
    EXPECT_THAT(
        [] {
            verifyResponse(packetOf(0x81, 0xB1, hexBytes("05 00 02 6F 6B")), 0x31, "PING", false);
        },
        throwsRidgeException(13, "PING: Failed (49) with error 5. ok"));
}

TEST(VerifyResponse, FailureWithWrongTextLength_ThrowsWithAnEmptyText) {
    EXPECT_THAT(
        [] {
            verifyResponse(packetOf(0x81, 0xB1, hexBytes("01 00 05 61 62 63")), 0x31, "PING",
                           false);
        },
        throwsRidgeException(13, "PING: Failed (49) with error 1. "));
}

TEST(VerifyResponse, PercentSignsInTheDevicesText_StayAsTheyAre) {
    EXPECT_THAT(
        [] {
            verifyResponse(packetOf(0x81, 0xB1, hexBytes("05 00 04 25 73 25 6E")), 0x31, "PING",
                           false);
        },
        throwsRidgeException(13, "PING: Failed (49) with error 5. %s%n"));
}

TEST(VerifyResponse, OtherChecks_ThrowAsTheyAre) {
    EXPECT_THAT([] { verifyResponse(packetOf(0x81, 0x30), 0x30, "GET DEVICE INFO", true); },
                throwsRidgeException(9, "GET DEVICE INFO: Missing response data"));
    EXPECT_THAT([] { verifyResponse(packetOf(0x02, 0x30), 0x30, "GET DEVICE INFO", true); },
                throwsRidgeException(14, "GET DEVICE INFO: Invalid response type 2."));
    EXPECT_THAT([] { verifyResponse(packetOf(0x81, 0x31), 0x30, "GET DEVICE INFO", true); },
                throwsRidgeException(9, "GET DEVICE INFO: Invalid response code 49. Expected 48."));
    EXPECT_THAT(
        [] { verifyResponse(packetOf(0x81, 0xB0), 0x30, "GET DEVICE INFO", true); },
        throwsRidgeException(13, "GET DEVICE INFO: Failed (48/0). No error code available"));
}

} // namespace
} // namespace ridge
