#include "serialporttest.h"

#include <thread>

namespace ridge::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

using SerialPortDispatching = SerialPortTest;

TEST_F(SerialPortDispatching, Listener_IsCalledOnTheDispatchThread) {
    openAndAwaitRest();
    win32.arrive({1});
    listener.awaitBlocks(1);
    EXPECT_EQ(listener.thread(), journal.threadOf("I Dispatch thread started"));
}

TEST_F(SerialPortDispatching, BlocksThatQueueUpMeanwhile_AreAllHandedOutInOrder) {
    openAndAwaitRest();
    listener.hold();
    arriveAndAwaitRest({1});
    listener.awaitBlocks(1);
    for (const std::uint8_t number : Bytes{2, 3, 4, 5}) {
        arriveAndAwaitRest({number});
    }
    listener.letAllReturn();
    listener.awaitBlocks(5);
    EXPECT_THAT(listener.blocks(), ElementsAre(Bytes{1}, Bytes{2}, Bytes{3}, Bytes{4}, Bytes{5}));
}

TEST_F(SerialPortDispatching, BlocksTakenTogether_AllGiveTheirBuffersBack) {
    constexpr std::size_t blocksPerRound = 4;
    openAndAwaitRest();
    for (std::size_t round = 1; round <= 5; ++round) {
        listener.hold();
        for (std::size_t count = 0; count < blocksPerRound; ++count) {
            arriveAndAwaitRest({1});
        }
        listener.letAllReturn();
        listener.awaitBlocks(round * blocksPerRound);
    }
    EXPECT_THAT(logLines(), Not(Contains("W No free buffers available!")));
}

TEST_F(SerialPortDispatching, Stop_HandsOutNoneOfTheBlocksTakenTogether) {
    openAndAwaitRest();
    listener.hold();
    arriveAndAwaitRest({1});
    listener.awaitBlocks(1);
    for (const std::uint8_t number : Bytes{2, 3, 4}) {
        arriveAndAwaitRest({number});
    }
    listener.letOneReturn();
    listener.awaitBlocks(2);
    std::thread closer([this] { port->close(); });
    journal.await("SetEvent(stop)");
    listener.letAllReturn();
    closer.join();
    EXPECT_THAT(listener.blocks(), ElementsAre(Bytes{1}, Bytes{2}));
}

TEST_F(SerialPortDispatching, ReceivingSideFails_HandsOutNoMore) {
    openAndAwaitRest();
    listener.hold();
    arriveAndAwaitRest({1});
    listener.awaitBlocks(1);
    win32.fail(Call::readFile, ERROR_GEN_FAILURE, 2);
    win32.arrive({2});
    journal.await(receiveStopped);
    listener.letAllReturn();
    port->close();
    EXPECT_THAT(listener.blocks(), ElementsAre(Bytes{1}));
}

TEST_F(SerialPortDispatching, ReceivingSideFails_EndsTheDispatchThreadBeforeTheClose) {
    openAndAwaitRest();
    win32.failPendingEventWait(ERROR_OPERATION_ABORTED);
    journal.await("I Dispatch thread stopped");
    EXPECT_THAT(logLines(), Not(Contains("I Closing device port")));
}

TEST_F(SerialPortDispatching, ErrorListenerThatThrows_DoesNotKeepTheDispatchThread) {
    errors.throwAfterwards();
    openAndAwaitRest();
    win32.failPendingEventWait(ERROR_OPERATION_ABORTED);
    journal.await("E Error reporting a failure of the port. not now");
    journal.await("I Dispatch thread stopped");
}

TEST_F(SerialPortDispatching, ListenerThatThrows_GetsTheNextBlock) {
    listener.throwAfterwards();
    openAndAwaitRest();
    win32.arrive({1});
    listener.awaitBlocks(1);
    win32.arrive({2});
    listener.awaitBlocks(2);
    EXPECT_THAT(listener.blocks(), ElementsAre(Bytes{1}, Bytes{2}));
    journal.await("E Error handing on received data. no use for it", 2);
}

TEST_F(SerialPortDispatching, ListenerThatThrows_KeepsNoBuffer) {
    listener.throwAfterwards();
    openAndAwaitRest();
    for (std::size_t count = 1; count <= 20; ++count) {
        win32.arrive({static_cast<std::uint8_t>(count)});
        listener.awaitBlocks(count);
    }
    EXPECT_EQ(listener.blocks().size(), 20U);
}

} // namespace
} // namespace ridge::test
