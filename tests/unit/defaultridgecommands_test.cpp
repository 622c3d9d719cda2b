#include "defaultridgecommands.h"

#include "fakepackethandler.h"
#include "hexbytes.h"
#include "ridgeexception.h"
#include "throwsridgeexception.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <numeric>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace ridge {
namespace {

using test::FakePacketHandler;
using test::hexBytes;
using test::ramp;
using test::throwsRidgeException;
using Bytes = std::vector<std::uint8_t>;
using Receives = std::vector<FakePacketHandler::Receive>;

constexpr std::uint8_t response = 0x81;

CaptureMask rampMask() {
    CaptureMask mask{};
    std::iota(mask.begin(), mask.end(), std::uint8_t{0});
    return mask;
}

CsrName csrName(const std::string& commonName, const std::string& country) {
    CsrName name;
    name.commonName = commonName;
    name.country = country;
    return name;
}

const Bytes key = ramp(32);
const Bytes certificate = hexBytes("AA BB");
const Bytes smallestInfo = Bytes(22);

class Commands : public testing::Test {
protected:
    /// What goes over the line for the only packet sent.
    Bytes sentBytes() {
        EXPECT_EQ(packets.sent.size(), 1U);
        return packets.sent.empty() ? Bytes{} : packets.sent[0].serialize();
    }

    FakePacketHandler packets;
    DefaultRidgeCommands commands{&packets};
};

/// What is fixed about a command that is one request and one answer.
struct Exchange {
    const char* testName;
    std::function<void(RidgeCommands&)> run;
    std::uint8_t code;
    std::string name;
    std::string timeoutMessage;
    /// All bytes of the request's packet; empty when some of them are random.
    Bytes request;
    /// The payload of an answer that is as it should be.
    Bytes answer;
    bool requireData = false;
    std::optional<std::uint32_t> timeoutMs = std::nullopt;
};

void PrintTo(const Exchange& exchange, std::ostream* output) {
    *output << exchange.name;
}

class CommandExchange : public Commands, public testing::WithParamInterface<Exchange> {
protected:
    void run() { GetParam().run(commands); }

    void expectFailure(std::int32_t code, const std::string& text) {
        EXPECT_THAT([this] { run(); }, throwsRidgeException(code, GetParam().name + text));
    }

    std::string codeText() const { return std::to_string(GetParam().code); }
    std::uint8_t failureCode() const { return static_cast<std::uint8_t>(GetParam().code | 0x80); }
};

TEST_P(CommandExchange, SendsItsRequestOnce_AndTakesOneAnswer) {
    packets.answer(response, GetParam().code, GetParam().answer);
    EXPECT_NO_THROW(run());
    const Bytes sent = sentBytes();
    if (!GetParam().request.empty()) {
        EXPECT_EQ(sent, GetParam().request);
    }
    EXPECT_EQ(sent.at(0), 0x01);
    EXPECT_EQ(sent.at(3), GetParam().code);
    EXPECT_EQ(packets.receives, (Receives{{GetParam().timeoutMs, false}}));
}

TEST_P(CommandExchange, WithoutAnswer_FailsWithItsOwnTimeOutMessage) {
    EXPECT_THAT([this] { run(); }, throwsRidgeException(9, GetParam().timeoutMessage));
    EXPECT_EQ(packets.sent.size(), 1U);
    EXPECT_EQ(packets.receives, (Receives{{GetParam().timeoutMs, false}}));
}

TEST_P(CommandExchange, AnswerOfTheWrongType_Fails) {
    packets.answer(0x01, GetParam().code, GetParam().answer);
    expectFailure(14, ": Invalid response type 1.");
}

TEST_P(CommandExchange, AnswerWithTheCodeOfAnotherCommand_Fails) {
    packets.answer(response, 0x7F, GetParam().answer);
    expectFailure(9, ": Invalid response code 127. Expected " + codeText() + ".");
}

TEST_P(CommandExchange, FailureOfTheDeviceWithText_Fails) {
    packets.answer(response, failureCode(), hexBytes("05 00 02 6F 6B"));
    expectFailure(13, ": Failed (" + codeText() + ") with error 5. ok");
}

TEST_P(CommandExchange, FailureOfTheDeviceWithoutText_Fails) {
    packets.answer(response, failureCode(), hexBytes("07 00 00"));
    expectFailure(13, ": Failed (" + codeText() + ") with error 7. ");
}

TEST_P(CommandExchange, FailureOfTheDeviceWithFewerThanThreeBytes_Fails) {
    for (std::size_t size = 0; size < 3; ++size) {
        packets.answer(response, failureCode(), Bytes(size, 0x05));
        expectFailure(13, ": Failed (" + codeText() + "/" + std::to_string(size) +
                              "). No error code available");
    }
}

TEST_P(CommandExchange, SuccessWithoutPayload_FailsWhereDataIsRequired) {
    packets.answer(response, GetParam().code);
    if (GetParam().requireData) {
        expectFailure(9, ": Missing response data");
    } else {
        EXPECT_NO_THROW(run());
    }
}

TEST_P(CommandExchange, FailureToSend_PassesThrough_AndNothingIsReceived) {
    packets.onSend = [](const Packet&) {
        throw RIDGE_EXCEPTION(7, "Timeout writing to device port");
    };
    EXPECT_THAT([this] { run(); }, throwsRidgeException(7, "Timeout writing to device port"));
    EXPECT_TRUE(packets.receives.empty());
}

const std::vector<Exchange> exchanges{
    {"GetDeviceInfo", [](RidgeCommands& commands) { commands.getDeviceInfo(); }, 0x30,
     "GET DEVICE INFO", "Timeout retrieving device information.", hexBytes("01 00 01 30 CF"),
     smallestInfo, true},
    {"GetDeviceSettings", [](RidgeCommands& commands) { commands.getDeviceSettings(); }, 0x15,
     "GET DEVICE SETTINGS", "Timeout retrieving device settings.", hexBytes("01 00 01 15 EA"),
     Bytes(5), true},
    {"StartCapture",
     [](RidgeCommands& commands) { commands.startCapture(10, 30000, 1, true, {}); },
     0x10,
     "START CAPTURE",
     "Timeout starting capture.",
     hexBytes("01 00 0A 10 0A 00 00 75 30 00 00 00 09 2E"),
     {}},
    {"StopCapture",
     [](RidgeCommands& commands) { commands.stopCapture(); },
     0x12,
     "STOP CAPTURE",
     "Timeout stoping capture.",
     hexBytes("01 00 01 12 ED"),
     {}},
    {"ClearKey",
     [](RidgeCommands& commands) { commands.clearKey(); },
     0x2C,
     "CLEAR KEY",
     "Timeout clearing device key.",
     hexBytes("01 00 01 2C D3"),
     {}},
    {"StartHostAssistedCapture",
     [](RidgeCommands& commands) { commands.startHostAssistedCapture(3, 0x10, {}); }, 0x17,
     "HOST ASSISTED CAPTURE START", "Timeout starting host assisted capture.",
     hexBytes("01 00 06 17 03 00 00 00 10 D0"), ramp(64), true},
    {"SendHostAssistedCaptureResult",
     [](RidgeCommands& commands) { commands.sendHostAssistedCaptureResult(rampMask(), true); },
     0x18,
     "HOST ASSISTED CAPTURE RESULT",
     "Timeout sending host assisted capture result.",
     {},
     {}},
    {"Ping",
     [](RidgeCommands& commands) { commands.ping(); },
     0x31,
     "PING",
     "Timeout pinging device.",
     hexBytes("01 00 01 31 CE"),
     {}},
    {"CertClear",
     [](RidgeCommands& commands) { commands.certClear(); },
     0x24,
     "CERT CLEAR",
     "Timeout clearing certificate and keys.",
     hexBytes("01 00 01 24 DB"),
     {}},
    {"CertGet", [](RidgeCommands& commands) { commands.certGet(); }, 0x23, "CERT GET",
     "Timeout retrieving certificate from device.", hexBytes("01 00 01 23 DC"), ramp(300)},
    {"CertSet",
     [](RidgeCommands& commands) { commands.certSet(certificate.data(), 2); },
     0x22,
     "CERT SET",
     "Timeout setting certificate.",
     hexBytes("01 00 03 22 AA BB 76"),
     {}},
    {"CreateCsr", [](RidgeCommands& commands) { commands.createCsr(csrName("A", "")); }, 0x21,
     "CREATE CSR", "Timeout creating CSR.",
     hexBytes("01 00 0E 21 00 01 41 00 00 00 00 00 00 00 00 00 00 8F"), ramp(300), true, 10000},
    {"SetKey",
     [](RidgeCommands& commands) { commands.setKey(key.data()); },
     0x20,
     "SET KEY",
     "Timeout setting device key.",
     {},
     {}},
    {"SetSettings",
     [](RidgeCommands& commands) {
         commands.setSettings({2, 0x12345678});
     },
     0x16,
     "SET SETTINGS",
     "Timeout updating device settings.",
     hexBytes("01 00 06 16 02 12 34 56 78 CE"),
     {}},
    {"StartStream",
     [](RidgeCommands& commands) { commands.startStream({}); },
     0x13,
     "STREAM START",
     "Timeout starting capture in streaming mode.",
     hexBytes("01 00 01 13 EC"),
     {}},
};

INSTANTIATE_TEST_SUITE_P(All, CommandExchange, testing::ValuesIn(exchanges),
                         [](const testing::TestParamInfo<Exchange>& info) {
                             return std::string(info.param.testName);
                         });

using GetDeviceInfoCommand = Commands;
using GetDeviceSettingsCommand = Commands;
using SetSettingsCommand = Commands;
using StartCaptureCommand = Commands;
using HostAssistedCaptureStartCommand = Commands;
using HostAssistedCaptureResultCommand = Commands;
using StreamStartCommand = Commands;
using SetKeyCommand = Commands;
using CertSetCommand = Commands;
using CertGetCommand = Commands;
using CreateCsrCommand = Commands;
using PingCommand = Commands;

TEST_F(PingCommand, FailureOfTheDevice_NamesCommandCodeErrorAndText) {
    packets.answer(response, 0xB1, hexBytes("05 00 02 6F 6B"));
    EXPECT_THAT([this] { commands.ping(); },
                throwsRidgeException(13, "PING: Failed (49) with error 5. ok"));
}

TEST_F(PingCommand, LateAnswerOfAnotherCommand_Fails) {
    packets.answer(response, 0x15, Bytes(5));
    EXPECT_THAT([this] { commands.ping(); },
                throwsRidgeException(9, "PING: Invalid response code 21. Expected 49."));
}

TEST_F(PingCommand, LateAnswerOfTheSameCommand_IsTakenForItsOwn) {
    EXPECT_THAT([this] { commands.ping(); }, throwsRidgeException(9, "Timeout pinging device."));
    packets.answer(response, 0x31); // to the first
    packets.answer(response, 0x31); // to the second, and left over
    EXPECT_NO_THROW(commands.ping());
    EXPECT_EQ(packets.receives.size(), 2U);
}

TEST_F(GetDeviceInfoCommand, AnswerIsDecoded) {
    packets.answer(response, 0x30,
                   hexBytes("0001 41 0001 42 0001 43 0001 44 0001 45 0001 46 0001 47 "
                            "0102 0304 001F0000"));
    const DeviceInfo info = commands.getDeviceInfo();
    EXPECT_EQ(info.text1 + info.text2 + info.text3 + info.text4 + info.text5 + info.text6 +
                  info.text7,
              "ABCDEFG");
    EXPECT_EQ(info.value1, 0x0102);
    EXPECT_EQ(info.value2, 0x0304);
    EXPECT_EQ(info.flags, 0x001F0000U);
}

TEST_F(GetDeviceInfoCommand, AnswerThatEndsWithinTheFlags_Fails) {
    packets.answer(response, 0x30, Bytes(21));
    EXPECT_THAT([this] { commands.getDeviceInfo(); },
                throwsRidgeException(10, "Invalid device info data."));
}

TEST_F(GetDeviceInfoCommand, BytesAfterTheFlags_AreIgnored) {
    packets.answer(response, 0x30, Bytes(23));
    EXPECT_NO_THROW(commands.getDeviceInfo());
}

TEST_F(GetDeviceSettingsCommand, AnswerIsDecoded) {
    packets.answer(response, 0x15, hexBytes("03 00 00 00 02"));
    const DeviceSettings settings = commands.getDeviceSettings();
    EXPECT_EQ(settings.rotation, 3);
    EXPECT_EQ(settings.flags, 2U);
}

TEST_F(GetDeviceSettingsCommand, AnswerOfSixBytes_FailsWithReason1) {
    packets.answer(response, 0x15, hexBytes("03 00 00 00 02 00"));
    EXPECT_THAT([this] { commands.getDeviceSettings(); },
                throwsRidgeException(10, "Invalid device settings data (1)."));
}

TEST_F(GetDeviceSettingsCommand, RotationOf4_FailsWithReason4) {
    packets.answer(response, 0x15, hexBytes("04 00 00 00 02"));
    EXPECT_THAT([this] { commands.getDeviceSettings(); },
                throwsRidgeException(10, "Invalid device settings data (4)."));
}

TEST_F(SetSettingsCommand, RotationOf4_IsRefusedBeforeAnythingIsSent) {
    EXPECT_THAT(
        [this] {
            commands.setSettings({4, 0});
        },
        throwsRidgeException(6, "Failed to create device settings command (4)."));
    EXPECT_TRUE(packets.sent.empty());
    EXPECT_TRUE(packets.receives.empty());
}

TEST_F(StartCaptureCommand, Block_GoesWithIt) {
    packets.answer(response, 0x10);
    commands.startCapture(2, 5000, 3, false, ramp(256));
    ASSERT_EQ(packets.sent.size(), 1U);
    Bytes expected = hexBytes("02 00 00 13 88 00 00 00 03");
    expected.resize(265);
    std::iota(expected.begin() + 9, expected.end(), std::uint8_t{0});
    EXPECT_EQ(packets.sent[0].data, expected);
}

TEST_F(StartCaptureCommand, BadArguments_AreRefusedBeforeAnythingIsSent) {
    EXPECT_THAT([this] { commands.startCapture(11, 30001, 1, true, {}); },
                throwsRidgeException(6, "Failed to start capture (2)."));
    EXPECT_THAT([this] { commands.startCapture(10, 30001, 1, true, {}); },
                throwsRidgeException(6, "Failed to start capture (3)."));
    EXPECT_TRUE(packets.sent.empty());
}

TEST_F(HostAssistedCaptureStartCommand, Answer_BecomesTheMaskWithItsHalvesSwapped) {
    packets.answer(response, 0x17, ramp(64));
    const CaptureMask mask = commands.startHostAssistedCapture(3, 0x10, {});
    for (std::size_t index = 0; index < 64; ++index) {
        EXPECT_EQ(mask[index], (index + 32) % 64) << "index " << index;
    }
}

TEST_F(HostAssistedCaptureStartCommand, Block_GoesWithIt) {
    packets.answer(response, 0x17, ramp(64));
    commands.startHostAssistedCapture(3, 0x10, ramp(256));
    ASSERT_EQ(packets.sent.size(), 1U);
    Bytes expected = hexBytes("03 00 00 00 10");
    expected.resize(261);
    std::iota(expected.begin() + 5, expected.end(), std::uint8_t{0});
    EXPECT_EQ(packets.sent[0].data, expected);
}

TEST_F(HostAssistedCaptureStartCommand, BadArguments_AreRefusedBeforeAnythingIsSent) {
    EXPECT_THAT([this] { commands.startHostAssistedCapture(11, 0, {}); },
                throwsRidgeException(6, "Failed to start host assisted capture (2)."));
    EXPECT_THAT([this] { commands.startHostAssistedCapture(10, 0, {}); },
                throwsRidgeException(6, "Failed to start host assisted capture (1)."));
    EXPECT_TRUE(packets.sent.empty());
}

TEST_F(HostAssistedCaptureStartCommand, AnswerOf63Bytes_FailsWithTheSize) {
    packets.answer(response, 0x17, ramp(63));
    EXPECT_THAT([this] { commands.startHostAssistedCapture(3, 0x10, {}); },
                throwsRidgeException(6, "Invalid host assisted capture response (63)."));
}

TEST_F(HostAssistedCaptureResultCommand, Payload_HidesTheVerdictInNoiseUnderTheMask) {
    for (int round = 0; round < 300; ++round) {
        const bool accepted = round % 2 == 0;
        packets.answer(response, 0x18);
        commands.sendHostAssistedCaptureResult(rampMask(), accepted);
        Bytes payload = packets.sent.back().data;
        ASSERT_EQ(payload.size(), 64U);
        for (std::size_t index = 0; index < 64; ++index) {
            payload[index] = static_cast<std::uint8_t>(payload[index] ^ index);
        }
        const std::uint8_t place = payload[0];
        ASSERT_GE(place, 1);
        ASSERT_LE(place, 63);
        EXPECT_EQ(payload[place], accepted ? 1 : 0) << "place " << int{place};
        EXPECT_EQ(payload[place == 63 ? 62U : place + 1U], place);
    }
}

TEST_F(HostAssistedCaptureResultCommand, TwoCalls_SendDifferentNoise) {
    packets.answer(response, 0x18);
    packets.answer(response, 0x18);
    commands.sendHostAssistedCaptureResult(CaptureMask{}, true);
    commands.sendHostAssistedCaptureResult(CaptureMask{}, true);
    EXPECT_NE(packets.sent[0].data, packets.sent[1].data);
}

TEST_F(StreamStartCommand, Parameters_GoAsTheyAre) {
    packets.answer(response, 0x13);
    commands.startStream(ramp(256));
    ASSERT_EQ(packets.sent.size(), 1U);
    EXPECT_EQ(packets.sent[0].data, ramp(256));
}

TEST_F(StreamStartCommand, TenThousandBytes_AreTheMost) {
    packets.answer(response, 0x13);
    EXPECT_NO_THROW(commands.startStream(ramp(10000)));
    EXPECT_THAT([this] { commands.startStream(ramp(10001)); },
                throwsRidgeException(6, "Invalid packet data length 10001"));
    EXPECT_EQ(packets.sent.size(), 1U);
}

TEST_F(SetKeyCommand, EachKeyByte_IsTheXorOfAPairOfSentBytes) {
    packets.answer(response, 0x20);
    commands.setKey(key.data());
    ASSERT_EQ(packets.sent.size(), 1U);
    const Bytes& payload = packets.sent[0].data;
    ASSERT_EQ(payload.size(), 64U);
    for (std::size_t index = 0; index < 32; ++index) {
        EXPECT_EQ(payload[2 * index] ^ payload[2 * index + 1], key[index]) << "index " << index;
    }
}

TEST_F(SetKeyCommand, ZeroKey_SendsEachRandomByteTwiceInARow) {
    packets.answer(response, 0x20);
    const Bytes zeroKey(32);
    commands.setKey(zeroKey.data());
    ASSERT_EQ(packets.sent.size(), 1U);
    const Bytes& payload = packets.sent[0].data;
    ASSERT_EQ(payload.size(), 64U);
    for (std::size_t index = 0; index < 64; index += 2) {
        EXPECT_EQ(payload[index], payload[index + 1]) << "index " << index;
        EXPECT_NE(payload[index], 0xFF) << "index " << index;
    }
}

TEST_F(SetKeyCommand, TwoCalls_SendDifferentBytesForTheSameKey) {
    packets.answer(response, 0x20);
    packets.answer(response, 0x20);
    commands.setKey(key.data());
    commands.setKey(key.data());
    EXPECT_NE(packets.sent[0].data, packets.sent[1].data);
}

TEST_F(CertSetCommand, CertificateOf6000Bytes_IsSent) {
    packets.answer(response, 0x22);
    const Bytes large = ramp(6000);
    commands.certSet(large.data(), 6000);
    ASSERT_EQ(packets.sent.size(), 1U);
    EXPECT_EQ(packets.sent[0].data, large);
}

TEST_F(CertSetCommand, BadArguments_AreRefusedBeforeAnythingIsSent) {
    const Bytes tooLarge = ramp(6001);
    EXPECT_THAT([this] { commands.certSet(nullptr, 2); },
                throwsRidgeException(2, "Certificate cannot be NULL."));
    EXPECT_THAT([&] { commands.certSet(tooLarge.data(), 6001); },
                throwsRidgeException(2, "Invalid certificate size 6001."));
    EXPECT_THAT([&] { commands.certSet(tooLarge.data(), 0); },
                throwsRidgeException(2, "Invalid certificate size 0."));
    EXPECT_TRUE(packets.sent.empty());
}

TEST_F(CertGetCommand, AnswerIsTheCertificate) {
    packets.answer(response, 0x23, ramp(6000));
    EXPECT_EQ(commands.certGet(), ramp(6000));
}

TEST_F(CertGetCommand, EmptyAnswer_IsAnEmptyCertificate) {
    packets.answer(response, 0x23);
    EXPECT_TRUE(commands.certGet().empty());
}

TEST_F(CreateCsrCommand, AnswerIsTheRequest) {
    packets.answer(response, 0x21, ramp(900));
    EXPECT_EQ(commands.createCsr(csrName("Ann", "DE")), ramp(900));
    ASSERT_EQ(packets.sent.size(), 1U);
    EXPECT_EQ(packets.sent[0].data, hexBytes("0003 416E6E 0002 4445 0000 0000 0000 0000"));
}

TEST_F(CreateCsrCommand, BadField_IsRefusedBeforeAnythingIsSent) {
    EXPECT_THAT([this] { commands.createCsr(csrName("Ann", "DEU")); },
                throwsRidgeException(6, "Failed to create create CSR command (1)."));
    EXPECT_TRUE(packets.sent.empty());
}

/// What differs between the two commands that ask for data and then receive it.
struct DataCommand {
    const char* testName;
    std::function<Bytes(RidgeCommands&, bool poll)> run;
    std::uint8_t code;
    std::string name;
    Bytes request;
    std::string firstTimeoutMessage;
    std::string secondTimeoutMessage;
    std::string kindOfData;
};

void PrintTo(const DataCommand& command, std::ostream* output) {
    *output << command.name;
}

class CommandForData : public Commands, public testing::WithParamInterface<DataCommand> {
protected:
    Bytes run(bool poll) { return GetParam().run(commands, poll); }
    void answer(const Bytes& payload = {}) { packets.answer(response, GetParam().code, payload); }
    void answerFailure(const Bytes& payload) {
        packets.answer(response, static_cast<std::uint8_t>(GetParam().code | 0x80), payload);
    }
    void expectFailure(bool poll, std::int32_t code, const std::string& text) {
        EXPECT_THAT([&] { run(poll); }, throwsRidgeException(code, GetParam().name + text));
    }
    std::string codeText() const { return std::to_string(GetParam().code); }
};

constexpr FakePacketHandler::Receive plainReceive{std::nullopt, false};
constexpr FakePacketHandler::Receive acknowledgedReceive{std::nullopt, true};

TEST_P(CommandForData, WithPoll_AsksThenReceivesTheDataWithAcknowledgement) {
    answer();
    answer(hexBytes("AA BB"));
    EXPECT_EQ(run(true), hexBytes("AA BB"));
    EXPECT_EQ(sentBytes(), GetParam().request);
    EXPECT_EQ(packets.receives, (Receives{plainReceive, acknowledgedReceive}));
}

TEST_P(CommandForData, WithPoll_PayloadOfTheFirstAnswerIsIgnored) {
    answer(hexBytes("01 02 03"));
    answer(hexBytes("AA BB"));
    EXPECT_EQ(run(true), hexBytes("AA BB"));
}

TEST_P(CommandForData, WithoutPoll_OnlyReceivesTheDataWithAcknowledgement) {
    answer(ramp(10000));
    EXPECT_EQ(run(false), ramp(10000));
    EXPECT_TRUE(packets.sent.empty());
    EXPECT_EQ(packets.receives, Receives{acknowledgedReceive});
}

TEST_P(CommandForData, FirstStageWithoutAnswer_Fails) {
    EXPECT_THAT([this] { run(true); }, throwsRidgeException(9, GetParam().firstTimeoutMessage));
    EXPECT_EQ(packets.receives, Receives{plainReceive});
}

TEST_P(CommandForData, SecondStageWithoutPacket_Fails) {
    answer();
    EXPECT_THAT([this] { run(true); }, throwsRidgeException(9, GetParam().secondTimeoutMessage));
    EXPECT_EQ(packets.receives, (Receives{plainReceive, acknowledgedReceive}));
    EXPECT_THAT([this] { run(false); }, throwsRidgeException(9, GetParam().secondTimeoutMessage));
}

TEST_P(CommandForData, FirstAnswerOfTheWrongType_Fails) {
    packets.answer(0x01, GetParam().code);
    expectFailure(true, 14, ": Invalid response type 1.");
    EXPECT_EQ(packets.receives, Receives{plainReceive});
}

TEST_P(CommandForData, FirstAnswerWithTheCodeOfAnotherCommand_Fails) {
    packets.answer(response, 0x7F);
    expectFailure(true, 9, ": Invalid response code 127. Expected " + codeText() + ".");
}

TEST_P(CommandForData, FirstAnswerWithAShortErrorPayload_Fails) {
    answerFailure(hexBytes("07 00"));
    expectFailure(true, 13, ": Failed (" + codeText() + "/2). No error code available");
}

TEST_P(CommandForData, Error7_IsAnEmptyResult_AndNoDataIsWaitedFor) {
    answerFailure(hexBytes("07 00 00"));
    EXPECT_TRUE(run(true).empty());
    EXPECT_EQ(packets.receives, Receives{plainReceive});
}

TEST_P(CommandForData, AnyOtherError_Fails) {
    answerFailure(hexBytes("05 00 02 6F 6B"));
    EXPECT_THAT([this] { run(true); },
                throwsRidgeException(13, "Error 5 retrieving " + GetParam().kindOfData + ". ok"));
    answerFailure(hexBytes("FE 00 00"));
    EXPECT_THAT([this] { run(true); },
                throwsRidgeException(13, "Error 254 retrieving " + GetParam().kindOfData + ". "));
}

TEST_P(CommandForData, DataPacketOfTheWrongType_Fails) {
    packets.answer(0x01, GetParam().code, hexBytes("AA"));
    expectFailure(false, 14, ": Invalid response type 1.");
}

TEST_P(CommandForData, DataPacketWithTheCodeOfAnotherCommand_Fails) {
    packets.answer(response, 0x7F, hexBytes("AA"));
    expectFailure(false, 9, ": Invalid response code 127. Expected " + codeText() + ".");
}

TEST_P(CommandForData, EmptyDataPacket_Fails) {
    answer();
    expectFailure(false, 9, ": Missing response data");
}

TEST_P(CommandForData, FailureInsteadOfTheDataPacket_FailsWhateverTheError) {
    answerFailure(hexBytes("07 00 00"));
    expectFailure(false, 13, ": Failed (" + codeText() + ") with error 7. ");
    answerFailure(hexBytes("05 00 02 6F 6B"));
    expectFailure(false, 13, ": Failed (" + codeText() + ") with error 5. ok");
    answerFailure({});
    expectFailure(false, 13, ": Failed (" + codeText() + "/0). No error code available");
}

TEST_P(CommandForData, FailureToSend_PassesThrough_AndNothingIsReceived) {
    packets.onSend = [](const Packet&) {
        throw RIDGE_EXCEPTION(std::string("Error writing to device port. No."));
    };
    EXPECT_THAT([this] { run(true); },
                throwsRidgeException(5, "Error writing to device port. No."));
    EXPECT_TRUE(packets.receives.empty());
}

const std::vector<DataCommand> dataCommands{
    {"GetCaptureData",
     [](RidgeCommands& commands, bool poll) {
         bool captureTimedOut = true;
         bool captureEvent = true;
         Bytes data = commands.getCaptureData(poll, captureTimedOut, captureEvent);
         EXPECT_FALSE(captureTimedOut);
         EXPECT_FALSE(captureEvent);
         return data;
     },
     0x11, "GET CAPTURE DATA", hexBytes("01 00 01 11 EE"), "Timeout checking for capture result.",
     "Timeout checking for capture result.", "capture data"},
    {"GetStreamData",
     [](RidgeCommands& commands, bool poll) { return commands.getStreamData(poll); }, 0x14,
     "GET STREAM DATA", hexBytes("01 00 01 14 EB"), "Timeout checking for stream data.",
     "Timeout retrieving stream data.", "stream data"},
};

INSTANTIATE_TEST_SUITE_P(All, CommandForData, testing::ValuesIn(dataCommands),
                         [](const testing::TestParamInfo<DataCommand>& info) {
                             return std::string(info.param.testName);
                         });

class GetCaptureDataCommand : public Commands {
protected:
    bool captureTimedOut = false;
    bool captureEvent = false;
};

TEST_F(GetCaptureDataCommand, Error9_IsTheScannersCaptureTimeOut) {
    captureEvent = true;
    packets.answer(response, 0x91, hexBytes("09 00 00"));
    EXPECT_TRUE(commands.getCaptureData(true, captureTimedOut, captureEvent).empty());
    EXPECT_TRUE(captureTimedOut);
    EXPECT_FALSE(captureEvent);
    EXPECT_EQ(packets.receives, Receives{plainReceive});
}

TEST_F(GetCaptureDataCommand, Error12_IsACaptureEvent_AndNoDataIsWaitedFor) {
    captureTimedOut = true;
    packets.answer(response, 0x91, hexBytes("0C 00 00"));
    EXPECT_TRUE(commands.getCaptureData(true, captureTimedOut, captureEvent).empty());
    EXPECT_FALSE(captureTimedOut);
    EXPECT_TRUE(captureEvent);
    EXPECT_EQ(packets.receives, Receives{plainReceive});
}

TEST_F(GetCaptureDataCommand, OutFlags_AreClearedBeforeAnythingCanFail) {
    captureTimedOut = true;
    captureEvent = true;
    EXPECT_THAT([this] { commands.getCaptureData(true, captureTimedOut, captureEvent); },
                throwsRidgeException(9, "Timeout checking for capture result."));
    EXPECT_FALSE(captureTimedOut);
    EXPECT_FALSE(captureEvent);
}

TEST_F(GetCaptureDataCommand, AnyOtherError_IsCalledAnErrorRetrievingCaptureData) {
    packets.answer(response, 0x91, hexBytes("08 00 04 66 75 6C 6C"));
    EXPECT_THAT([this] { commands.getCaptureData(true, captureTimedOut, captureEvent); },
                throwsRidgeException(13, "Error 8 retrieving capture data. full"));
}

using GetStreamDataCommand = Commands;

TEST_F(GetStreamDataCommand, Error9AndError12_AreFailures) {
    packets.answer(response, 0x94, hexBytes("09 00 00"));
    EXPECT_THAT([this] { commands.getStreamData(true); },
                throwsRidgeException(13, "Error 9 retrieving stream data. "));
    packets.answer(response, 0x94, hexBytes("0C 00 00"));
    EXPECT_THAT([this] { commands.getStreamData(true); },
                throwsRidgeException(13, "Error 12 retrieving stream data. "));
}

} // namespace
} // namespace ridge
