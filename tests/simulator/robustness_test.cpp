#include "lineframing.h"
#include "packet.h"
#include "randomsource.h"
#include "scannerline.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace ridge::simulator::test {

namespace {

std::vector<std::uint8_t> randomBytes(RandomSource& random, std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    for (std::uint8_t& byte : bytes) {
        byte = random.byte();
    }
    return bytes;
}

// A well-formed packet with a fitting or an unfitting payload.
std::vector<std::uint8_t> randomPacket(RandomSource& random) {
    constexpr std::array<std::size_t, 10> lengths{0, 0, 0, 1, 5, 9, 64, 256, 261, 265};
    const std::span<const CommandName> commands = commandNames();
    const Command command = commands[random.word() % commands.size()].command;
    std::vector<std::uint8_t> payload =
        randomBytes(random, lengths[random.word() % lengths.size()]);
    if (!payload.empty()) {
        payload[0] %= 12;
    }
    const std::uint32_t type = random.word() % 3 == 0 ? packetTypeResponse : packetTypeRequest;
    return encodeFrame(
        Packet(type, static_cast<std::uint8_t>(command), payload.data(), payload.size())
            .serialize());
}

// What a host in its right mind sends in the course of a capture or a stream.
std::vector<std::uint8_t> sensiblePacket(RandomSource& random) {
    constexpr std::array<const char*, 6> packets{
        "7E 01 00 0A 10 01 00 00 13 88 00 00 00 08 42 7F",
        "7E 01 00 01 13 EC 7F",
        "7E 01 00 01 11 EE 7F",
        "7E 81 00 01 11 EE 7F",
        "7E 01 00 01 14 EB 7F",
        "7E 81 00 01 14 EB 7F",
    };
    return bytesOf(packets[random.word() % packets.size()]);
}

} // namespace

TEST(Robustness, RandomBytes_LeaveTheScannerAnswering) {
    RandomSource random(20240501);
    ScannerLine line;
    for (int round = 0; round < 200; ++round) {
        line.now += milliseconds(random.word() % 100);
        line.scanner.receive(randomBytes(random, random.word() % 2000), line.now);
        line.scanner.takeOutput();
        EXPECT_EQ(line.send(ping), pong);
    }
}

TEST(Robustness, FlagsAndEscapesInAnyOrder_LeaveTheScannerAnswering) {
    RandomSource random(7);
    ScannerLine line;
    constexpr std::array<std::uint8_t, 8> alphabet{0x7D, 0x7E, 0x7F, 0x5D, 0x01, 0x00, 0x31, 0xCE};
    for (int round = 0; round < 2000; ++round) {
        std::vector<std::uint8_t> bytes;
        for (std::uint32_t i = random.word() % 12; i > 0; --i) {
            bytes.push_back(alphabet[random.word() % alphabet.size()]);
        }
        line.scanner.receive(bytes, line.now);
        line.scanner.takeOutput();
        EXPECT_EQ(line.send(ping), pong);
    }
}

TEST(Robustness, CommandsInAnyOrder_AreAnsweredWithValidPackets) {
    RandomSource random(99);
    ScannerConfig config = tinyConfig();
    config.chunkSize = 16;
    config.finger.delay = milliseconds(10);
    config.finger.acquisition = milliseconds(10);
    ScannerLine line(config);
    FrameDecoder host;
    std::size_t answers = 0;
    for (int round = 0; round < 20000; ++round) {
        line.now += milliseconds(random.word() % 60);
        const bool sensible = random.word() % 8 != 0;
        line.scanner.receive(sensible ? sensiblePacket(random) : randomPacket(random), line.now);
        for (const std::vector<std::uint8_t>& frame : host.decode(line.scanner.takeOutput())) {
            const std::unique_ptr<Packet> packet = Packet::parse(frame.data(), frame.size());
            ASSERT_TRUE(packet);
            EXPECT_EQ(packet->type, packetTypeResponse);
            ++answers;
        }
        const std::optional<Time> deadline = line.scanner.nextDeadline();
        EXPECT_TRUE(!deadline || *deadline > line.now);
    }
    EXPECT_EQ(host.abandonedFrames(), 0U);
    EXPECT_GT(answers, 5000U);
    EXPECT_GT(line.scanner.deliveredImages(), 0U);
}

} // namespace ridge::simulator::test
