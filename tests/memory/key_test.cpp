// Nothing of a device key stays behind in memory that has been given back.

#include "allocations.h"
#include "defaultpackethandler.h"
#include "defaultridgecommands.h"
#include "fakeserialport.h"
#include "hexbytes.h"
#include "noerrors.h"
#include "ridge-sdk.h"
#include "ridgeexception.h"
#include "scriptedscanner.h"
#include "wipe.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <numeric>
#include <span>
#include <vector>

namespace ridge {
namespace {

using test::FakeSerialPortFactory;
using test::FreedMemory;
using test::hexBytes;
using test::NoErrors;
using test::ScriptedScanner;
using Bytes = std::vector<std::uint8_t>;

/// The payload of a frame with its packet's header and checksum.
Bytes unescaped(const Bytes& frame) {
    Bytes bytes;
    for (std::size_t index = 1; index + 1 < frame.size(); ++index) {
        const bool escaped = frame[index] == 0x7D;
        index += escaped ? 1U : 0U;
        bytes.push_back(static_cast<std::uint8_t>(frame[index] + (escaped ? 0x20 : 0)));
    }
    return bytes;
}

/// How many pieces of the bytes were in memory that was given back.
std::size_t piecesHeld(const Bytes& bytes) {
    constexpr std::size_t pieceSize = 8;
    std::size_t held = 0;
    for (std::size_t begin = 0; begin + pieceSize <= bytes.size(); ++begin) {
        held += FreedMemory::held(std::span(bytes).subspan(begin, pieceSize)) ? 1U : 0U;
    }
    return held;
}

TEST(DeviceKeyInMemory, AfterSetKey_NeitherKeyNorMaskedKeyNorFrameStaysBehind) {
    NoErrors errors;
    FakeSerialPortFactory port;
    DefaultPacketHandler packets(port, "COM3", errors);
    DefaultRidgeCommands commands(&packets);
    port.onWrite = [&] { port.deliver(hexBytes("7E 81 00 01 20 DF 7F")); };
    Bytes key(32);
    std::iota(key.begin(), key.end(), std::uint8_t{0x41});
    port.writes.reserve(1);
    {
        const FreedMemory freed;
        commands.setKey(key.data());
    }
    ASSERT_EQ(port.writes.size(), 1U);
    const Bytes& frame = port.writes[0];
    const Bytes packet = unescaped(frame);
    ASSERT_EQ(packet.size(), 69U);
    EXPECT_EQ(packet[4] ^ packet[5], 0x41);
    EXPECT_EQ(piecesHeld(key), 0U);
    EXPECT_EQ(piecesHeld(packet), 0U);
    EXPECT_EQ(piecesHeld(frame), 0U);
}

TEST(DeviceKeyInMemory, AfterSetKeyThatFails_NothingStaysBehindEither) {
    NoErrors errors;
    Bytes key(32);
    std::iota(key.begin(), key.end(), std::uint8_t{0x41});
    for (const bool refused : {false, true}) {
        FakeSerialPortFactory port;
        DefaultPacketHandler packets(port, "COM3", errors);
        DefaultRidgeCommands commands(&packets);
        port.onWrite = [&] {
            if (!refused) {
                throw RIDGE_EXCEPTION(7, "Timeout writing to device port");
            }
            port.deliver(hexBytes("7E 81 00 02 A0 05 59 7F"));
        };
        port.writes.reserve(1);
        {
            const FreedMemory freed;
            EXPECT_THROW(commands.setKey(key.data()), RidgeException);
        }
        EXPECT_EQ(piecesHeld(key), 0U);
        for (const Bytes& frame : port.writes) {
            EXPECT_EQ(piecesHeld(unescaped(frame)), 0U);
            EXPECT_EQ(piecesHeld(frame), 0U);
        }
    }
}

TEST(DeviceKeyInMemory, AfterTheExportedFunction_TheKeyDoesNotStayBehind) {
    ScriptedScanner scanner("COM3");
    const std::unique_ptr<ridgeDeviceContext, decltype(&ridgeFreeDeviceContext)> context(
        ridgeCreateDeviceContext(), &ridgeFreeDeviceContext);
    ASSERT_EQ(ridgeConnectCOM("COM3", context.get()), 0);
    Bytes key(32);
    std::iota(key.begin(), key.end(), std::uint8_t{0x41});
    {
        const FreedMemory freed;
        ASSERT_EQ(ridgeDeviceSecuritySetKey(context.get(), key.data()), 0);
    }
    EXPECT_EQ(piecesHeld(key), 0U);
}

TEST(DeviceKeyInMemory, WhatIsNotWiped_WouldBeSeen) {
    Bytes secret(64);
    std::iota(secret.begin(), secret.end(), std::uint8_t{1});
    {
        const FreedMemory freed;
        const auto copy = std::make_unique<Bytes>(secret);
    }
    EXPECT_EQ(piecesHeld(secret), 57U);
}

TEST(Wipe, OverwritesEveryByte) {
    std::array<std::uint8_t, 5> bytes{1, 2, 3, 4, 5};
    wipe(std::span(bytes).subspan(1, 3));
    EXPECT_EQ(bytes, (std::array<std::uint8_t, 5>{1, 0, 0, 0, 5}));
    wipe({});
}

TEST(Wipe, AtTheEndOfAScope_TakesTheContainerAsItIsThen) {
    Bytes bytes{1, 2};
    {
        const WipedAtEnd wiped(bytes);
        bytes.push_back(3);
    }
    EXPECT_EQ(bytes, (Bytes{0, 0, 0}));
}

} // namespace
} // namespace ridge
