#include "defaultdatalinkhandler.h"

#include "errorcollector.h"
#include "fakeserialport.h"
#include "framecollector.h"
#include "hexbytes.h"
#include "logrecorder.h"
#include "ridgeexception.h"
#include "throwsridgeexception.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace ridge {
namespace {

using test::ErrorCollector;
using test::FrameCollector;
using test::hexBytes;
using test::throwsRidgeException;
using Bytes = std::vector<std::uint8_t>;
using Frames = std::vector<Bytes>;

/// What a receiver makes of a whole stream, worked out start flag by start flag: what lies between
/// one start flag and the next is one attempt at a frame.
Frames framesIn(const Bytes& stream) {
    constexpr std::size_t limit = 10005;
    Frames frames;
    auto start = std::find(stream.begin(), stream.end(), 0x7E);
    while (start != stream.end()) {
        const auto end = std::find(start + 1, stream.end(), 0x7E);
        Bytes payload;
        for (auto next = start + 1; next != end; ++next) {
            if (*next == 0x7F) {
                if (!payload.empty()) {
                    frames.push_back(payload);
                }
                break;
            }
            std::uint8_t value = *next;
            if (value == 0x7D) {
                if (++next == end || *next < 0x50 || *next > 0x5F) {
                    break;
                }
                value = static_cast<std::uint8_t>(*next + 0x20);
            }
            if (payload.size() == limit) {
                break;
            }
            payload.push_back(value);
        }
        start = end;
    }
    return frames;
}

class DataLink : public testing::Test {
protected:
    DataLink() { open(); }

    void open() {
        dataLink =
            std::make_unique<DefaultDataLinkHandler>(factory, "COM7", errorListener, collector);
    }

    void send(const Bytes& payload) {
        dataLink->sendFrame(payload.data(), static_cast<std::int32_t>(payload.size()));
    }

    /// The frames that come of `stream`, delivered in one piece.
    Frames receive(const Bytes& stream) {
        factory.deliver(stream);
        return std::exchange(collector.frames, {});
    }

    FrameCollector collector;
    ErrorCollector errorListener;
    test::FakeSerialPortFactory factory;
    std::unique_ptr<DefaultDataLinkHandler> dataLink;
};

class DataLinkSend : public DataLink {};
class DataLinkReceive : public DataLink {};
class DataLinkLifetime : public DataLink {};

TEST_F(DataLinkSend, PayloadWithoutFlags_StandsBetweenStartAndEndFlag) {
    send(hexBytes("01 00 01 31 CE"));
    EXPECT_EQ(factory.writes, (Frames{hexBytes("7E 01 00 01 31 CE 7F")}));
}

TEST_F(DataLinkSend, FlagValues_AreEscaped) {
    send(hexBytes("01 7E 02"));
    send(hexBytes("7D 7F"));
    EXPECT_EQ(factory.writes,
              (Frames{hexBytes("7E 01 7D 5E 02 7F"), hexBytes("7E 7D 5D 7D 5F 7F")}));
}

TEST_F(DataLinkSend, EveryOtherByte_StandsAsItIs) {
    Bytes payload;
    for (unsigned value = 0; value < 256; ++value) {
        if (value < 0x7D || value > 0x7F) {
            payload.push_back(static_cast<std::uint8_t>(value));
        }
    }
    send(payload);
    Bytes expected{0x7E};
    expected.insert(expected.end(), payload.begin(), payload.end());
    expected.push_back(0x7F);
    EXPECT_EQ(factory.writes, Frames{expected});
}

TEST_F(DataLinkSend, OneByte_IsTheShortestFrame) {
    send(hexBytes("00"));
    EXPECT_EQ(factory.writes, (Frames{hexBytes("7E 00 7F")}));
}

TEST_F(DataLinkSend, NoByte_IsRefused) {
    const std::uint8_t byte = 0;
    EXPECT_THAT([&] { dataLink->sendFrame(&byte, 0); },
                throwsRidgeException(6, "Invalid frame size 0"));
    EXPECT_TRUE(factory.writes.empty());
}

TEST_F(DataLinkSend, NegativeSize_IsRefused) {
    const std::uint8_t byte = 0;
    EXPECT_THAT([&] { dataLink->sendFrame(&byte, -1); },
                throwsRidgeException(6, "Invalid frame size -1"));
    EXPECT_THAT([&] { dataLink->sendFrame(&byte, std::numeric_limits<std::int32_t>::min()); },
                throwsRidgeException(6, "Invalid frame size -2147483648"));
    EXPECT_TRUE(factory.writes.empty());
}

TEST_F(DataLinkSend, TenThousandAndSixBytes_AreRefused) {
    EXPECT_THAT([&] { send(Bytes(10006)); }, throwsRidgeException(6, "Invalid frame size 10006"));
    EXPECT_TRUE(factory.writes.empty());
}

TEST_F(DataLinkSend, TenThousandAndFivePlainBytes_AreOneWrite) {
    send(Bytes(10005));
    ASSERT_EQ(factory.writes.size(), 1U);
    EXPECT_EQ(factory.writes[0].size(), 10007U);
}

TEST_F(DataLinkSend, TenThousandAndFiveStartFlags_AreOneWriteOf20012Bytes) {
    send(Bytes(10005, 0x7E));
    Bytes expected{0x7E};
    for (int count = 0; count < 10005; ++count) {
        expected.push_back(0x7D);
        expected.push_back(0x5E);
    }
    expected.push_back(0x7F);
    ASSERT_EQ(expected.size(), 20012U);
    EXPECT_EQ(factory.writes, Frames{expected});
}

TEST_F(DataLinkSend, FailureOfTheWrite_PassesThrough) {
    factory.onWrite = [] { throw RIDGE_EXCEPTION(7, "Timeout writing to device port"); };
    EXPECT_THAT([&] { send(hexBytes("01")); },
                throwsRidgeException(7, "Timeout writing to device port"));
    factory.onWrite = [] {
        throw RIDGE_EXCEPTION(std::string("Error writing to device port. No."));
    };
    EXPECT_THAT([&] { send(hexBytes("01")); },
                throwsRidgeException(5, "Error writing to device port. No."));
}

TEST_F(DataLinkSend, SendingInTheMiddleOfAFrame_LeavesTheReceiverAlone) {
    factory.deliver(hexBytes("7E 01 7D"));
    send(hexBytes("7E 7F"));
    EXPECT_EQ(receive(hexBytes("5E 02 7F")), (Frames{hexBytes("01 7E 02")}));
}

TEST_F(DataLinkSend, WhatIsSent_ComesBackWhenReceived) {
    std::mt19937 generator(11);
    for (std::size_t size : {1U, 2U, 100U, 9999U, 10005U}) {
        Bytes payload(size);
        for (std::uint8_t& byte : payload) {
            byte = static_cast<std::uint8_t>(generator());
        }
        send(payload);
        EXPECT_EQ(receive(factory.writes.back()), Frames{payload}) << "size " << size;
    }
}

TEST_F(DataLinkReceive, EscapedFrameInOnePiece_IsDelivered) {
    EXPECT_EQ(receive(hexBytes("7E 01 7D 5E 02 7F")), (Frames{hexBytes("01 7E 02")}));
}

TEST_F(DataLinkReceive, EscapedFrameByteByByte_IsDelivered) {
    for (const std::uint8_t byte : hexBytes("7E 01 7D 5E 02 7F")) {
        factory.deliver({byte});
    }
    EXPECT_EQ(collector.frames, (Frames{hexBytes("01 7E 02")}));
}

TEST_F(DataLinkReceive, EscapedFrameThroughOnByte_IsDelivered) {
    for (const std::uint8_t byte : hexBytes("7E 01 7D 5E 02 7F")) {
        factory.listener->onByte(byte);
    }
    EXPECT_EQ(collector.frames, (Frames{hexBytes("01 7E 02")}));
}

TEST_F(DataLinkReceive, NoData_ChangesNothing) {
    factory.deliver(hexBytes("7E 01"));
    factory.listener->onData(nullptr, 0);
    EXPECT_EQ(receive(hexBytes("02 7F")), (Frames{hexBytes("01 02")}));
}

TEST_F(DataLinkReceive, EmptyFrame_IsDropped) {
    EXPECT_EQ(receive(hexBytes("7E 7F")), Frames{});
    EXPECT_EQ(receive(hexBytes("01 7F")), Frames{});
}

TEST_F(DataLinkReceive, BytesOutsideAFrame_AreIgnored) {
    EXPECT_EQ(receive(hexBytes("7F 01 7E 02 7F")), (Frames{hexBytes("02")}));
    EXPECT_EQ(receive(hexBytes("03 7D 5E 7F 7E 04 7F 05 7D 5E")), (Frames{hexBytes("04")}));
}

TEST_F(DataLinkReceive, StartFlagInsideAFrame_DiscardsItAndBeginsANewOne) {
    EXPECT_EQ(receive(hexBytes("7E 01 7E 02 7F")), (Frames{hexBytes("02")}));
}

TEST_F(DataLinkReceive, StartFlagAfterAnEscape_IsStillAStartFlag) {
    EXPECT_EQ(receive(hexBytes("7E 01 7D 7E 5E 02 7F")), (Frames{hexBytes("5E 02")}));
}

TEST_F(DataLinkReceive, FramesInOnePiece_AreDeliveredInOrder) {
    EXPECT_EQ(receive(hexBytes("7E 01 7F 7E 02 7F 00 7E 03 04 7F")),
              (Frames{hexBytes("01"), hexBytes("02"), hexBytes("03 04")}));
}

TEST_F(DataLinkReceive, EscapeThatTheSenderNeverProduces_IsAccepted) {
    EXPECT_EQ(receive(hexBytes("7E 7D 50 7F")), (Frames{hexBytes("70")}));
}

TEST_F(DataLinkReceive, BadEscape_DropsTheFrameAndWhatFollowsIt) {
    EXPECT_EQ(receive(hexBytes("7E 7D 41 02 7F")), Frames{});
}

TEST_F(DataLinkReceive, EndFlagAfterAnEscape_DropsTheFrame) {
    EXPECT_EQ(receive(hexBytes("7E 01 7D 7F 02 7F")), Frames{});
    EXPECT_EQ(receive(hexBytes("7E 03 7F")), (Frames{hexBytes("03")}));
}

TEST_F(DataLinkReceive, AfterADroppedFrame_TheNextIsDelivered) {
    EXPECT_EQ(receive(hexBytes("7E 01 7D 00 02 7F 7E 03 7F")), (Frames{hexBytes("03")}));
}

TEST_F(DataLinkReceive, EveryEscapedByte_IsStoredOrDropsTheFrame) {
    for (unsigned value = 0; value < 256; ++value) {
        const auto byte = static_cast<std::uint8_t>(value);
        Frames expected;
        if (byte == 0x7E) {
            expected = {hexBytes("02")};
        } else if (byte >= 0x50 && byte <= 0x5F) {
            expected = {{0x01, static_cast<std::uint8_t>(byte + 0x20), 0x02}};
        }
        EXPECT_EQ(receive({0x7E, 0x01, 0x7D, byte, 0x02, 0x7F}), expected) << "byte " << value;
    }
}

TEST_F(DataLinkReceive, EveryByteInAFrame_HasItsMeaning) {
    for (unsigned value = 0; value < 256; ++value) {
        const auto byte = static_cast<std::uint8_t>(value);
        Frames expected{{0x01, byte, 0x52}};
        if (byte == 0x7D) {
            expected = {hexBytes("01 72")};
        } else if (byte == 0x7E) {
            expected = {hexBytes("52")};
        } else if (byte == 0x7F) {
            expected = {hexBytes("01")};
        }
        EXPECT_EQ(receive({0x7E, 0x01, byte, 0x52, 0x7F}), expected) << "byte " << value;
    }
}

Bytes frameOf(std::size_t count, const Bytes& before = {}) {
    Bytes stream{0x7E};
    stream.insert(stream.end(), count, 0x11);
    stream.insert(stream.end(), before.begin(), before.end());
    stream.push_back(0x7F);
    return stream;
}

TEST_F(DataLinkReceive, FrameOf10005Bytes_IsDelivered) {
    EXPECT_EQ(receive(frameOf(10005)), (Frames{Bytes(10005, 0x11)}));
}

TEST_F(DataLinkReceive, FrameOf10005BytesWithTheLastEscaped_IsDelivered) {
    Bytes expected(10004, 0x11);
    expected.push_back(0x7E);
    EXPECT_EQ(receive(frameOf(10004, hexBytes("7D 5E"))), Frames{expected});
}

TEST_F(DataLinkReceive, FrameOf10006Bytes_IsDropped) {
    EXPECT_EQ(receive(frameOf(10006)), Frames{});
    EXPECT_EQ(receive(hexBytes("7E 01 7F")), (Frames{hexBytes("01")}));
}

TEST_F(DataLinkReceive, FrameOf10006BytesWithTheLastEscaped_IsDropped) {
    EXPECT_EQ(receive(frameOf(10005, hexBytes("7D 5E"))), Frames{});
}

TEST_F(DataLinkReceive, BytesAfterAnOverflow_AreIgnoredUntilAStartFlag) {
    EXPECT_EQ(receive(frameOf(10006, hexBytes("22 33"))), Frames{});
    EXPECT_EQ(receive(hexBytes("44 7F 7E 01 7F")), (Frames{hexBytes("01")}));
}

TEST_F(DataLinkReceive, EscapeByteInAFullFrame_DropsTheFrame) {
    EXPECT_EQ(receive(frameOf(10005, hexBytes("7D"))), Frames{});
    EXPECT_EQ(receive(hexBytes("5E 7F 7E 01 7F")), (Frames{hexBytes("01")}));
}

TEST_F(DataLinkReceive, StartFlagInAFullFrame_BeginsANewOne) {
    Bytes stream = frameOf(10005);
    stream.back() = 0x7E;
    factory.deliver(stream);
    EXPECT_EQ(receive(hexBytes("01 7F")), (Frames{hexBytes("01")}));
}

const Bytes manyCases =
    hexBytes("7F 01 7E 02 7F 7E 7F 7E 01 7D 5E 02 7F 7E 7D 50 7F 7E 7D 41 02 7F "
             "7E 01 7E 03 7F 7E 7D 7E 04 7D 5D 7D 5F 7F 7E 05 7D 7F 06 7F 7E 07");
const Frames manyCasesFrames{hexBytes("02"), hexBytes("01 7E 02"), hexBytes("70"), hexBytes("03"),
                             hexBytes("04 7D 7F")};

TEST_F(DataLinkReceive, EverySplitIntoThreePieces_GivesTheSameFrames) {
    for (auto first = manyCases.begin(); first <= manyCases.end(); ++first) {
        for (auto second = first; second <= manyCases.end(); ++second) {
            open();
            factory.deliver(Bytes(manyCases.begin(), first));
            factory.deliver(Bytes(first, second));
            ASSERT_EQ(receive(Bytes(second, manyCases.end())), manyCasesFrames)
                << "split at " << first - manyCases.begin() << " and "
                << second - manyCases.begin();
        }
    }
}

TEST_F(DataLinkReceive, ReferenceDecoder_AgreesOnTheKnownCases) {
    EXPECT_EQ(framesIn(manyCases), manyCasesFrames);
    EXPECT_EQ(framesIn(frameOf(10005)), (Frames{Bytes(10005, 0x11)}));
    EXPECT_EQ(framesIn(frameOf(10006)), Frames{});
}

/// A stream in which flags, escapes and escaped values are frequent.
Bytes randomStream(std::mt19937& generator, std::size_t size) {
    const Bytes frequent = hexBytes("7D 7E 7F 5D 5E 5F 4F 50 60 00");
    Bytes stream(size);
    for (std::uint8_t& byte : stream) {
        const auto value = static_cast<std::uint32_t>(generator());
        byte = value % 2 == 0 ? static_cast<std::uint8_t>(value >> 8)
                              : frequent[(value >> 8) % frequent.size()];
    }
    return stream;
}

TEST_F(DataLinkReceive, RandomStreamsInRandomPieces_GiveTheReferenceDecodersFrames) {
    std::size_t delivered = 0;
    for (std::uint32_t seed = 1; seed <= 200; ++seed) {
        open();
        std::mt19937 generator(seed);
        const Bytes stream = randomStream(generator, 2000);
        for (std::size_t position = 0; position < stream.size();) {
            const std::size_t count =
                std::min<std::size_t>(1 + generator() % 50, stream.size() - position);
            factory.deliver(Bytes(&stream[position], &stream[position] + count));
            position += count;
        }
        const Frames frames = std::exchange(collector.frames, {});
        ASSERT_EQ(frames, framesIn(stream)) << "seed " << seed;
        delivered += frames.size();
    }
    EXPECT_GT(delivered, 200U);
}

TEST_F(DataLinkReceive, RandomFramesAroundTheLimit_GiveTheReferenceDecodersFrames) {
    std::size_t delivered = 0;
    for (std::uint32_t seed = 1; seed <= 60; ++seed) {
        std::mt19937 generator(seed);
        Bytes stream{0x7E};
        const std::size_t count = 9995 + generator() % 20;
        for (std::size_t position = 0; position < count; ++position) {
            const auto byte = static_cast<std::uint8_t>(generator());
            if (byte >= 0x7D && byte <= 0x7F) {
                stream.push_back(0x7D);
                stream.push_back(static_cast<std::uint8_t>(byte - 0x20));
            } else {
                stream.push_back(byte);
            }
        }
        const Bytes ending = randomStream(generator, 20);
        stream.insert(stream.end(), ending.begin(), ending.end());
        const Frames frames = receive(stream);
        ASSERT_EQ(frames, framesIn(stream)) << "seed " << seed;
        delivered += static_cast<std::size_t>(std::count_if(
            frames.begin(), frames.end(), [](const Bytes& frame) { return frame.size() > 9990; }));
    }
    EXPECT_GT(delivered, 0U);
    EXPECT_LT(delivered, 60U);
}

TEST_F(DataLinkReceive, ExceptionOfTheListener_PassesOutOfOnData) {
    collector.afterFrame = [] { throw std::runtime_error("full"); };
    EXPECT_THAT([&] { factory.deliver(hexBytes("7E 01 7F")); },
                testing::ThrowsMessage<std::runtime_error>("full"));
    EXPECT_THAT(
        [&] {
            for (const std::uint8_t byte : hexBytes("7E 01 7F")) {
                factory.listener->onByte(byte);
            }
        },
        testing::ThrowsMessage<std::runtime_error>("full"));
}

TEST_F(DataLinkReceive, AfterAnExceptionOfTheListener_TheReceiverIsIdleUntilAStartFlag) {
    collector.afterFrame = [] { throw std::runtime_error("full"); };
    EXPECT_THROW(factory.deliver(hexBytes("7E 01 7F")), std::runtime_error);
    collector.afterFrame = nullptr;
    collector.frames.clear();
    EXPECT_EQ(receive(hexBytes("02 7F")), Frames{});
    EXPECT_EQ(receive(hexBytes("7E 03 7F")), (Frames{hexBytes("03")}));
}

TEST_F(DataLinkReceive, DroppedBytes_LogNothingAndTellNobody) {
    const test::LogRecorder log;
    receive(hexBytes("01 7E 7F 7E 7D 41 7F"));
    receive(frameOf(10006));
    EXPECT_TRUE(log.lines().empty());
    EXPECT_TRUE(collector.frames.empty());
    EXPECT_TRUE(errorListener.errors.empty());
}

TEST_F(DataLinkLifetime, PortIsOpenedUnderTheNameWithBothListeners) {
    EXPECT_EQ(factory.portName, "COM7");
    EXPECT_NE(factory.listener, nullptr);
    EXPECT_EQ(factory.errorListener, &errorListener);
}

TEST_F(DataLinkLifetime, FrameDeliveredBeforeTheConstructorHasFinished_IsDropped) {
    factory.onCreate = [this] { factory.deliver(hexBytes("7E 01 7F")); };
    open();
    EXPECT_EQ(collector.frames, Frames{});
    EXPECT_EQ(receive(hexBytes("7E 02 7F")), (Frames{hexBytes("02")}));
}

TEST_F(DataLinkLifetime, FrameBegunBeforeTheConstructorHasFinished_IsDropped) {
    factory.onCreate = [this] { factory.deliver(hexBytes("7E 01")); };
    open();
    EXPECT_EQ(receive(hexBytes("02 7F")), Frames{});
}

TEST_F(DataLinkLifetime, StartFlagBeforeTheConstructorHasFinished_IsForgotten) {
    factory.onCreate = [this] { factory.deliver(hexBytes("7E")); };
    open();
    EXPECT_EQ(receive(hexBytes("02 7F")), Frames{});
}

TEST_F(DataLinkLifetime, EscapeBeforeTheConstructorHasFinished_IsForgotten) {
    factory.onCreate = [this] { factory.deliver(hexBytes("7E 7D")); };
    open();
    EXPECT_EQ(receive(hexBytes("5E 7F 7E 41 7F")), (Frames{hexBytes("41")}));
}

TEST_F(DataLinkLifetime, FailureToOpenThePort_PassesThrough) {
    factory.onCreate = [] { throw RIDGE_EXCEPTION(std::string("Access is denied.\r\n")); };
    EXPECT_THAT([this] { open(); }, throwsRidgeException(5, "Access is denied.\r\n"));
}

TEST_F(DataLinkLifetime, PortIsClosedBeforeTheReceiverGoes) {
    // A port's thread may still deliver until the port has been closed.
    factory.onDestroy = [this] { factory.deliver(hexBytes("02 7F")); };
    factory.deliver(hexBytes("7E 01"));
    dataLink.reset();
    EXPECT_EQ(collector.frames, (Frames{hexBytes("01 02")}));
}

TEST_F(DataLinkLifetime, UnfinishedFrame_IsDiscardedWithTheHandler) {
    factory.deliver(hexBytes("7E 01"));
    dataLink.reset();
    open();
    EXPECT_EQ(receive(hexBytes("02 7F")), Frames{});
}

} // namespace
} // namespace ridge
