#include "allocations.h"
#include "defaultdatalinkhandler.h"
#include "defaultpackethandler.h"
#include "fakeserialport.h"
#include "gate.h"
#include "hexbytes.h"
#include "logrecorder.h"
#include "noerrors.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace ridge {
namespace {

using test::AllocationRefusal;
using test::allocationsOfThisThread;
using test::FakeSerialPortFactory;
using test::Gate;
using test::hexBytes;
using test::LogRecorder;
using test::NoErrors;
using test::Threads;
using Bytes = std::vector<std::uint8_t>;
using Texts = std::vector<std::string>;

/// Stores nothing of the frames.
class FrameCounter final : public DataLinkListener {
public:
    void onFrame(const std::uint8_t*, std::uint32_t size) override {
        ++frames;
        lastSize = size;
    }

    std::size_t frames = 0;
    std::uint32_t lastSize = 0;
};

const Bytes settingsAnswer = hexBytes("7E 81 00 06 15 03 00 00 00 02 E0 7F");
const Texts droppedLine{std::string("Received packet dropped. ") + std::bad_alloc().what()};

TEST(DataLinkMemory, ReceivingFrames_AllocatesNothing) {
    NoErrors errors;
    FrameCounter counter;
    FakeSerialPortFactory factory;
    const DefaultDataLinkHandler dataLink(factory, "COM3", errors, counter);
    Bytes largest(10007, 0x55);
    largest.front() = 0x7E;
    largest.back() = 0x7F;
    Bytes tooLarge(10008, 0x55);
    tooLarge.front() = 0x7E;
    tooLarge.back() = 0x7F;
    const Bytes escaped = hexBytes("7E 01 7D 5E 02 7F");
    const Bytes brokenEscape = hexBytes("7E 01 7D 01 02 7F");
    const std::size_t before = allocationsOfThisThread();
    factory.deliver(settingsAnswer);
    factory.deliver(escaped);
    factory.deliver(brokenEscape);
    factory.deliver(tooLarge);
    factory.deliver(largest);
    for (const std::uint8_t byte : escaped) {
        factory.listener->onByte(byte);
    }
    const std::size_t after = allocationsOfThisThread();
    EXPECT_EQ(after, before);
    EXPECT_EQ(counter.frames, 4U);
    EXPECT_EQ(counter.lastSize, 3U);
}

class PacketHandlerMemory : public testing::Test {
protected:
    NoErrors errors;
    FakeSerialPortFactory factory;
};

TEST_F(PacketHandlerMemory, FrameForWhosePacketThereIsNone_IsDroppedWithALogLine) {
    std::size_t allocation = 0;
    bool refused = true;
    while (refused) {
        ++allocation;
        DefaultPacketHandler handler(factory, "COM3", errors);
        const LogRecorder log;
        {
            const AllocationRefusal refusal(allocation);
            EXPECT_NO_THROW(factory.deliver(settingsAnswer));
            refused = refusal.happened();
        }
        EXPECT_EQ(log.messages('E'), refused ? droppedLine : Texts{});
        EXPECT_EQ(handler.receive(1, false) == nullptr, refused);

        factory.deliver(settingsAnswer);
        const std::unique_ptr<Packet> next = handler.receive(1, false);
        ASSERT_NE(next, nullptr);
        EXPECT_EQ(next->data, hexBytes("03 00 00 00 02"));
    }
    EXPECT_GT(allocation, 1U);
}

TEST_F(PacketHandlerMemory, FrameOnThePortsThread_IsDroppedWithALogLine) {
    DefaultPacketHandler handler(factory, "COM3", errors);
    const LogRecorder log;
    Gate gate;
    std::thread portThread([&] {
        gate.pass();
        factory.deliver(settingsAnswer);
    });
    {
        const AllocationRefusal refusal(1, Threads::all);
        gate.open();
        portThread.join();
        EXPECT_TRUE(refusal.happened());
    }
    EXPECT_EQ(log.messages('E'), droppedLine);
    EXPECT_EQ(handler.receive(1, false), nullptr);
}

} // namespace
} // namespace ridge
