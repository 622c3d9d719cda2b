#include "defaultpackethandler.h"

#include "defaultfactory.h"
#include "errorcollector.h"
#include "hexbytes.h"
#include "logrecorder.h"
#include "ridgeexception.h"
#include "throwsridgeexception.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace ridge {
namespace {

using test::ErrorCollector;
using test::hexBytes;
using test::LogRecorder;
using test::throwsRidgeException;
using Bytes = std::vector<std::uint8_t>;
using Texts = std::vector<std::string>;

constexpr std::uint32_t longTimeoutMs = 600000;

/// A data link whose far side the test plays, with the factory that makes it.
class FakeDataLinkFactory final : public DefaultFactory<std::string> {
public:
    std::unique_ptr<DataLinkHandler>
    createDataLinkHandler(const std::string& name, SerialPortErrorListener& failureListener,
                          DataLinkListener& frameListener) override {
        portName = name;
        errorListener = &failureListener;
        listener = &frameListener;
        if (onCreate) {
            onCreate();
        }
        return std::make_unique<DataLink>(*this);
    }

    void deliver(const Bytes& frame) const {
        listener->onFrame(frame.data(), static_cast<std::uint32_t>(frame.size()));
    }

    std::string portName;
    SerialPortErrorListener* errorListener = nullptr;
    DataLinkListener* listener = nullptr;
    std::vector<Bytes> sent;
    std::function<void()> onCreate;
    std::function<void()> onSend;
    std::function<void()> onDestroy;

private:
    class DataLink final : public DataLinkHandler {
    public:
        explicit DataLink(FakeDataLinkFactory& linkOwner) : owner(linkOwner) {}
        ~DataLink() override {
            if (owner.onDestroy) {
                owner.onDestroy();
            }
        }

        DataLink(const DataLink&) = delete;
        DataLink& operator=(const DataLink&) = delete;

        void sendFrame(const std::uint8_t* bytes, std::int32_t size) override {
            if (owner.onSend) {
                owner.onSend();
            }
            owner.sent.emplace_back(bytes, bytes + size);
        }

    private:
        FakeDataLinkFactory& owner;
    };
};

const Bytes pingAnswer = hexBytes("81 00 01 31 CE");
const Bytes settingsAnswer = hexBytes("81 00 06 15 03 00 00 00 02 E0");
const Bytes stopAnswer = hexBytes("81 00 01 12 ED");

class PacketHandling : public testing::Test {
protected:
    PacketHandling() { open(); }

    void open() {
        handler = std::make_unique<DefaultPacketHandler>(factory, "COM3", errorListener);
    }

    /// The code of the next packet, which is there already, or -1.
    int queuedCode() {
        const std::unique_ptr<Packet> packet = handler->receive(1, false);
        return packet ? packet->code : -1;
    }

    ErrorCollector errorListener;
    FakeDataLinkFactory factory;
    std::unique_ptr<PacketHandler> handler;
};

class PacketHandlerSend : public PacketHandling {};
class PacketHandlerQueue : public PacketHandling {};
class PacketHandlerInvalidFrame : public PacketHandling {};
class PacketHandlerReceive : public PacketHandling {};
class PacketHandlerAcknowledge : public PacketHandling {};
class PacketHandlerLifetime : public PacketHandling {};

TEST_F(PacketHandlerSend, PacketBecomesOneFrame) {
    handler->send(Packet(0x01, 0x31));
    const Bytes payload = hexBytes("03 00 00 00 02");
    handler->send(Packet(0x01, 0x16, payload.data(), payload.size()));
    EXPECT_EQ(factory.sent, (std::vector<Bytes>{hexBytes("01 00 01 31 CE"),
                                                hexBytes("01 00 06 16 03 00 00 00 02 DF")}));
}

TEST_F(PacketHandlerSend, LargestPacket_IsSent) {
    const Bytes payload(10000);
    handler->send(Packet(0x01, 0x13, payload.data(), payload.size()));
    ASSERT_EQ(factory.sent.size(), 1U);
    EXPECT_EQ(factory.sent[0].size(), 10005U);
}

TEST_F(PacketHandlerSend, PayloadGrownTooLong_IsRefused) {
    Packet packet(0x01, 0x13);
    packet.data.resize(10001);
    EXPECT_THAT([&] { handler->send(packet); },
                throwsRidgeException(6, "Failed to serialize packet!"));
    EXPECT_TRUE(factory.sent.empty());
}

TEST_F(PacketHandlerSend, FailureOfTheDataLink_PassesThrough) {
    factory.onSend = [] { throw RIDGE_EXCEPTION(7, "Timeout writing to device port"); };
    EXPECT_THAT([&] { handler->send(Packet(0x01, 0x31)); },
                throwsRidgeException(7, "Timeout writing to device port"));
}

TEST_F(PacketHandlerQueue, ValidFrame_BecomesAPacket) {
    factory.deliver(settingsAnswer);
    const std::unique_ptr<Packet> packet = handler->receive(longTimeoutMs, false);
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->type, 0x81U);
    EXPECT_EQ(packet->code, 0x15);
    EXPECT_EQ(packet->data, hexBytes("03 00 00 00 02"));
}

TEST_F(PacketHandlerQueue, FrameIsCopied) {
    Bytes frame = settingsAnswer;
    factory.deliver(frame);
    frame.assign(frame.size(), 0xFF);
    const std::unique_ptr<Packet> packet = handler->receive(longTimeoutMs, false);
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->data, hexBytes("03 00 00 00 02"));
}

TEST_F(PacketHandlerQueue, TwoPackets_ComeOldestFirst) {
    const LogRecorder log;
    factory.deliver(pingAnswer);
    factory.deliver(settingsAnswer);
    EXPECT_EQ(queuedCode(), 0x31);
    EXPECT_EQ(queuedCode(), 0x15);
    EXPECT_EQ(queuedCode(), -1);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PacketHandlerQueue, ThirdPacket_IsDroppedWithALogLine) {
    const LogRecorder log;
    factory.deliver(pingAnswer);
    factory.deliver(settingsAnswer);
    factory.deliver(stopAnswer);
    EXPECT_EQ(log.messages('E'), Texts{"Protocol error - existing packet not processed!"});
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(queuedCode(), 0x31);
    EXPECT_EQ(queuedCode(), 0x15);
    EXPECT_EQ(queuedCode(), -1);
}

TEST_F(PacketHandlerQueue, ThirdFrameThatIsInvalid_IsDroppedWithoutAHexDump) {
    factory.deliver(pingAnswer);
    factory.deliver(settingsAnswer);
    const LogRecorder log;
    factory.deliver(hexBytes("7F"));
    EXPECT_EQ(log.messages('E'), Texts{"Protocol error - existing packet not processed!"});
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(PacketHandlerQueue, TakingAPacket_MakesRoomForAnother) {
    factory.deliver(pingAnswer);
    factory.deliver(settingsAnswer);
    EXPECT_EQ(queuedCode(), 0x31);
    factory.deliver(stopAnswer);
    EXPECT_EQ(queuedCode(), 0x15);
    EXPECT_EQ(queuedCode(), 0x12);
}

TEST_F(PacketHandlerInvalidFrame, IsLoggedWithItsSizeAndAHexDump) {
    const LogRecorder log;
    factory.deliver(hexBytes("01 00 01 31 CF"));
    EXPECT_EQ(log.messages('E'),
              (Texts{"Received invalid packet of size 5!", "Data: 01:00:01:31:cf"}));
    EXPECT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(queuedCode(), -1);
}

TEST_F(PacketHandlerInvalidFrame, OfOneByte_IsDumpedWithoutAColon) {
    const LogRecorder log;
    factory.deliver(hexBytes("7F"));
    EXPECT_EQ(log.messages('E'), (Texts{"Received invalid packet of size 1!", "Data: 7f"}));
}

TEST_F(PacketHandlerInvalidFrame, OfNoByte_IsLoggedWithoutAHexDump) {
    const LogRecorder log;
    factory.listener->onFrame(nullptr, 0);
    EXPECT_EQ(log.messages('E'), Texts{"Received invalid packet of size 0!"});
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(PacketHandlerInvalidFrame, EveryByteValue_IsDumpedWithTwoLowerCaseDigits) {
    const LogRecorder log;
    Bytes frame;
    std::string dump = "Data: ";
    const std::string digits = "0123456789abcdef";
    for (unsigned value = 0; value < 256; ++value) {
        frame.push_back(static_cast<std::uint8_t>(value));
        dump += value == 0 ? "" : ":";
        dump += digits[value / 16];
        dump += digits[value % 16];
    }
    factory.deliver(frame);
    EXPECT_EQ(log.messages('E'), (Texts{"Received invalid packet of size 256!", dump}));
}

TEST_F(PacketHandlerInvalidFrame, OfTheLargestSize_IsDumpedWhole) {
    const LogRecorder log;
    factory.deliver(Bytes(10005, 0x5A));
    std::string dump = "Data: 5a";
    for (int count = 1; count < 10005; ++count) {
        dump += ":5a";
    }
    EXPECT_EQ(log.messages('E'), (Texts{"Received invalid packet of size 10005!", dump}));
}

TEST_F(PacketHandlerInvalidFrame, OfWhateverKind_IsNotQueued) {
    const LogRecorder log;
    factory.deliver(hexBytes("81 00 00 00"));    // too short
    factory.deliver(hexBytes("81 00 00 31 CF")); // length 0
    factory.deliver(hexBytes("81 00 02 31 CD")); // length and size disagree
    factory.deliver(hexBytes("82 00 01 31 CE")); // unknown type
    EXPECT_EQ(queuedCode(), -1);
    EXPECT_EQ(log.messages('E').size(), 8U);
}

TEST_F(PacketHandlerInvalidFrame, DoesNotStandInTheWayOfThePacketAfterIt) {
    factory.deliver(hexBytes("7F"));
    factory.deliver(pingAnswer);
    EXPECT_EQ(queuedCode(), 0x31);
}

TEST_F(PacketHandlerReceive, WithoutAPacket_ReturnsNullAfterTheTimeOut) {
    EXPECT_EQ(handler->receive(1, false), nullptr);
    EXPECT_EQ(handler->receive(1, true), nullptr);
    EXPECT_TRUE(factory.sent.empty());
}

TEST_F(PacketHandlerReceive, WithoutATimeOutOrWithZero_WaitsThreeSeconds) {
    using Clock = std::chrono::steady_clock;
    const auto elapsed =
        [this](const std::function<std::unique_ptr<Packet>(PacketHandler&)>& wait) {
            FakeDataLinkFactory ownFactory;
            DefaultPacketHandler ownHandler(ownFactory, "COM4", errorListener);
            const Clock::time_point start = Clock::now();
            EXPECT_EQ(wait(ownHandler), nullptr);
            return Clock::now() - start;
        };
    auto withZero = std::async(std::launch::async, elapsed,
                               [](PacketHandler& waiting) { return waiting.receive(0, false); });
    const auto withoutTimeout =
        elapsed([](PacketHandler& waiting) { return waiting.receive(false); });
    EXPECT_GE(withoutTimeout, std::chrono::milliseconds(3000));
    EXPECT_GE(withZero.get(), std::chrono::milliseconds(3000));
}

TEST_F(PacketHandlerReceive, WithoutATimeOutOrWithZero_TakesAQueuedPacketToo) {
    factory.deliver(pingAnswer);
    factory.deliver(settingsAnswer);
    EXPECT_NE(handler->receive(false), nullptr);
    EXPECT_NE(handler->receive(0, false), nullptr);
}

TEST_F(PacketHandlerReceive, PacketThatComesWhileWaiting_EndsTheWait) {
    std::thread scanner([this] { factory.deliver(pingAnswer); });
    const std::unique_ptr<Packet> packet = handler->receive(longTimeoutMs, false);
    scanner.join();
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->code, 0x31);
}

TEST_F(PacketHandlerReceive, InvalidFrameWhileWaiting_DoesNotEndTheWait) {
    std::thread scanner([this] {
        factory.deliver(hexBytes("81 00 01 31 CF"));
        factory.deliver(pingAnswer);
    });
    const std::unique_ptr<Packet> packet = handler->receive(longTimeoutMs, false);
    scanner.join();
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->code, 0x31);
}

TEST_F(PacketHandlerReceive, FrameWithAWrongChecksum_EndsInATimeOut) {
    factory.deliver(hexBytes("81 00 01 31 CF"));
    EXPECT_EQ(handler->receive(1, false), nullptr);
}

TEST_F(PacketHandlerReceive, AnswerAfterTheTimeOut_IsTheNextPacketReceived) {
    DefaultRidgeCommands commands(handler.get());
    ASSERT_EQ(handler->receive(1, false), nullptr);
    factory.deliver(settingsAnswer);
    factory.onSend = [this] { factory.deliver(pingAnswer); };
    EXPECT_THAT([&] { commands.ping(); },
                throwsRidgeException(9, "PING: Invalid response code 21. Expected 49."));
    factory.onSend = nullptr;
    EXPECT_NO_THROW(commands.ping()); // with the answer to the ping before
}

TEST_F(PacketHandlerReceive, ManyPacketsBetweenTwoThreads_ComeInOrderAndComplete) {
    constexpr int count = 2000;
    std::atomic<int> taken{0};
    std::thread scanner([this, &taken] {
        for (int number = 0; number < count; ++number) {
            while (number - taken.load() >= 2) {
                std::this_thread::yield();
            }
            const Bytes payload{static_cast<std::uint8_t>(number / 256),
                                static_cast<std::uint8_t>(number % 256)};
            factory.deliver(Packet(0x81, 0x11, payload.data(), payload.size()).serialize());
        }
    });
    const LogRecorder log;
    for (int number = 0; number < count; ++number) {
        const std::unique_ptr<Packet> packet = handler->receive(longTimeoutMs, false);
        if (packet == nullptr || packet->data[0] * 256 + packet->data[1] != number) {
            ADD_FAILURE() << "packet " << number;
        }
        ++taken;
    }
    scanner.join();
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PacketHandlerAcknowledge, EmptyResponseOfTheSameCode_AnswersThePacket) {
    factory.deliver(hexBytes("81 00 02 11 AA 43"));
    const std::unique_ptr<Packet> packet = handler->receive(longTimeoutMs, true);
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->data, hexBytes("AA"));
    EXPECT_EQ(factory.sent, std::vector<Bytes>{hexBytes("81 00 01 11 EE")});
}

TEST_F(PacketHandlerAcknowledge, RequestThatTheScannerPushes_IsAnsweredToo) {
    factory.deliver(hexBytes("01 00 02 14 AA 40"));
    const std::unique_ptr<Packet> packet = handler->receive(longTimeoutMs, true);
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->type, 0x01U);
    EXPECT_EQ(factory.sent, std::vector<Bytes>{hexBytes("81 00 01 14 EB")});
}

TEST_F(PacketHandlerAcknowledge, DefaultTimeOutForm_AcknowledgesToo) {
    factory.deliver(hexBytes("81 00 02 11 AA 43"));
    EXPECT_NE(handler->receive(true), nullptr);
    EXPECT_EQ(factory.sent, std::vector<Bytes>{hexBytes("81 00 01 11 EE")});
}

TEST_F(PacketHandlerAcknowledge, WithoutIt_NothingIsSent) {
    factory.deliver(pingAnswer);
    EXPECT_NE(handler->receive(longTimeoutMs, false), nullptr);
    EXPECT_TRUE(factory.sent.empty());
}

TEST_F(PacketHandlerAcknowledge, FailureToSendIt_PassesThrough_AndTheQueueStaysUsable) {
    factory.deliver(pingAnswer);
    factory.onSend = [] {
        throw RIDGE_EXCEPTION(std::string("Error writing to device port. No."));
    };
    EXPECT_THAT([&] { return handler->receive(longTimeoutMs, true); },
                throwsRidgeException(5, "Error writing to device port. No."));
    factory.onSend = nullptr;
    factory.deliver(settingsAnswer);
    EXPECT_EQ(queuedCode(), 0x15);
}

TEST_F(PacketHandlerAcknowledge, FrameThatComesMeanwhile_WaitsUntilItIsOnItsWay) {
    for (int round = 0; round < 200; ++round) {
        std::atomic<bool> delivering{false};
        std::atomic<bool> onItsWay{false};
        std::atomic<bool> queuedEarly{false};
        std::thread scanner;
        factory.onSend = [&] {
            scanner = std::thread([&] {
                delivering = true;
                factory.deliver(settingsAnswer);
                queuedEarly = !onItsWay;
            });
            // Every chance for the frame to get in between.
            while (!delivering) {
                std::this_thread::yield();
            }
            for (int chance = 0; chance < 100; ++chance) {
                std::this_thread::yield();
            }
            onItsWay = true;
        };
        factory.deliver(pingAnswer);
        ASSERT_NE(handler->receive(longTimeoutMs, true), nullptr);
        scanner.join();
        ASSERT_FALSE(queuedEarly) << "round " << round;
        ASSERT_EQ(queuedCode(), 0x15);
    }
}

TEST_F(PacketHandlerLifetime, DataLinkIsCreatedForThePortWithTheErrorListener) {
    EXPECT_EQ(factory.portName, "COM3");
    EXPECT_EQ(factory.errorListener, &errorListener);
}

TEST_F(PacketHandlerLifetime, FrameDeliveredBeforeTheConstructorHasFinished_IsQueued) {
    factory.onCreate = [this] { factory.deliver(pingAnswer); };
    open();
    EXPECT_EQ(queuedCode(), 0x31);
}

TEST_F(PacketHandlerLifetime, FailureToCreateTheDataLink_PassesThrough) {
    factory.onCreate = [] { throw RIDGE_EXCEPTION(6, "Error creating stop event. %s", "No."); };
    EXPECT_THAT([this] { open(); }, throwsRidgeException(6, "Error creating stop event. No."));
}

TEST_F(PacketHandlerLifetime, FrameDeliveredWhileTheDataLinkCloses_StillFindsTheQueue) {
    const LogRecorder log;
    factory.onDestroy = [this] {
        factory.deliver(pingAnswer);
        factory.deliver(pingAnswer);
        factory.deliver(pingAnswer);
    };
    handler.reset();
    EXPECT_EQ(log.messages('E'), Texts{"Protocol error - existing packet not processed!"});
}

TEST_F(PacketHandlerLifetime, DestructionReleasesTheDataLinkAndQueuedPackets) {
    bool released = false;
    factory.onDestroy = [&released] { released = true; };
    factory.deliver(pingAnswer);
    factory.deliver(settingsAnswer);
    handler.reset();
    EXPECT_TRUE(released);
}

} // namespace
} // namespace ridge
