#include "serialporttest.h"

#include <numeric>
#include <thread>

namespace ridge::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* startsWait = "WaitCommEvent(port, receive)";
constexpr const char* fetchesResult = "GetOverlappedResult(port, receive, at once)";
constexpr const char* reads = "ReadFile(port, 30000, read)";
constexpr const char* logsCancel = "I Canceling outstanding notification event";
constexpr const char* cancels = "CancelIo(port)";
constexpr const char* awaitsWaitsEnd = "GetOverlappedResult(port, receive, wait)";
constexpr const char* awaitsReadsEnd = "GetOverlappedResult(port, read, wait)";
constexpr const char* noBuffers = "W No free buffers available!";

class SerialPortReceiving : public SerialPortTest {
protected:
    static constexpr std::size_t bufferCount = 6;
    static constexpr std::size_t bufferSize = 30000;

    /// The n-th of several blocks that differ.
    static Bytes numbered(std::size_t number) {
        return {static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number + 100)};
    }

    /// Keeps the listener inside its first block and fills all other buffers.
    void fillAllBuffers() {
        listener.hold();
        for (std::size_t number = 0; number + 1 < bufferCount; ++number) {
            arriveAndAwaitRest(numbered(number));
        }
        listener.awaitBlocks(1);
        win32.arrive(numbered(bufferCount - 1));
        journal.await(noBuffers);
    }
};

TEST_F(SerialPortReceiving, Arrival_IsReadUntilNothingIsLeft) {
    openAndAwaitRest();
    win32.arrive({1, 2, 3});
    journal.await(waitEntered, 2);
    EXPECT_THAT(receiveThreadEntries(),
                ElementsAre(receiveStarted, startsWait, waitEntered, fetchesResult, reads, reads,
                            startsWait, waitEntered));
    listener.awaitBlocks(1);
    EXPECT_THAT(listener.blocks(), ElementsAre(Bytes{1, 2, 3}));
}

TEST_F(SerialPortReceiving, SeveralArrivals_AreReadOneAfterTheOtherAndStayInOrder) {
    win32.arriveDuringOpening({1});
    win32.arriveDuringOpening({2, 3});
    win32.arriveDuringOpening({4});
    openAndAwaitRest();
    EXPECT_THAT(receiveThreadEntries(), ElementsAre(receiveStarted, startsWait, reads, reads, reads,
                                                    reads, startsWait, waitEntered));
    listener.awaitBlocks(3);
    EXPECT_THAT(listener.blocks(), ElementsAre(Bytes{1}, Bytes{2, 3}, Bytes{4}));
}

TEST_F(SerialPortReceiving, EventThatHasOccurred_IsNotWaitedFor) {
    win32.arriveDuringOpening({9, 8});
    openAndAwaitRest();
    EXPECT_THAT(receiveThreadEntries(),
                ElementsAre(receiveStarted, startsWait, reads, reads, startsWait, waitEntered));
    listener.awaitBlocks(1);
    EXPECT_THAT(listener.blocks(), ElementsAre(Bytes{9, 8}));
}

TEST_F(SerialPortReceiving, MoreThanABufferHolds_ComesInPieces) {
    Bytes bytes(2 * bufferSize + 1);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    openAndAwaitRest();
    win32.arrive(bytes);
    listener.awaitBlocks(3);
    const auto second = bytes.begin() + bufferSize;
    const auto third = second + bufferSize;
    EXPECT_EQ(listener.blocks(),
              (std::vector<Bytes>{Bytes(bytes.begin(), second), Bytes(second, third),
                                  Bytes(third, bytes.end())}));
}

TEST_F(SerialPortReceiving, ManyArrivals_AllComeInOrder) {
    openAndAwaitRest();
    constexpr std::size_t count = 200;
    Bytes sent;
    for (std::size_t number = 0; number < count; ++number) {
        const Bytes bytes = numbered(number);
        sent.insert(sent.end(), bytes.begin(), bytes.end());
        win32.arrive(bytes);
    }
    listener.awaitBlocks(count);
    Bytes received;
    for (const Bytes& block : listener.blocks()) {
        received.insert(received.end(), block.begin(), block.end());
    }
    EXPECT_EQ(received, sent);
}

TEST_F(SerialPortReceiving, ListenerIsBusy_SixBuffersAreFilledInPoolOrder) {
    openAndAwaitRest();
    fillAllBuffers();
    const std::vector<const std::uint8_t*> targets = win32.readTargets();
    std::vector<const std::uint8_t*> filled;
    for (const std::uint8_t* target : targets) {
        // A read that found nothing leaves its buffer to the next one.
        if (filled.empty() || filled.back() != target) {
            filled.push_back(target);
        }
    }
    ASSERT_EQ(filled.size(), bufferCount);
    for (std::size_t index = 1; index < filled.size(); ++index) {
        EXPECT_GE(filled[index], filled[index - 1] + bufferSize);
    }
}

TEST_F(SerialPortReceiving, NoBufferIsFree_SaysSoAgainAndAgain) {
    openAndAwaitRest();
    fillAllBuffers();
    journal.await(noBuffers, 3);
}

TEST_F(SerialPortReceiving, BufferComesBack_ReceivingGoesOnWithoutLoss) {
    openAndAwaitRest();
    fillAllBuffers();
    win32.arrive(numbered(6));
    win32.arrive(numbered(7));
    listener.letAllReturn();
    listener.awaitBlocks(8);
    EXPECT_THAT(listener.blocks(), ElementsAre(numbered(0), numbered(1), numbered(2), numbered(3),
                                               numbered(4), numbered(5), numbered(6), numbered(7)));
}

TEST_F(SerialPortReceiving, OneBufferComesBack_IsTheOneReadInto) {
    openAndAwaitRest();
    fillAllBuffers();
    const std::vector<const std::uint8_t*> before = win32.readTargets();
    win32.arrive(numbered(6));
    listener.letOneReturn();
    listener.awaitBlocks(2);
    journal.await(reads, static_cast<int>(before.size()) + 1);
    EXPECT_EQ(win32.readTargets()[before.size()], before.front());
}

TEST_F(SerialPortReceiving, StopWhileNoBufferIsFree_EndsTheThreadAndHandsOutNoMore) {
    openAndAwaitRest();
    fillAllBuffers();
    const std::size_t readsBefore = win32.readTargets().size();
    std::thread closer([this] { port->close(); });
    journal.await(receiveStopped);
    listener.letAllReturn();
    closer.join();
    EXPECT_EQ(win32.readTargets().size(), readsBefore);
    EXPECT_THAT(listener.blocks(), ElementsAre(numbered(0)));
}

TEST_F(SerialPortReceiving, Stop_EndsThePendingWaitBeforeItsRecordGoes) {
    openAndAwaitRest();
    port->close();
    EXPECT_THAT(receiveThreadEntries(),
                ElementsAre(receiveStarted, startsWait, waitEntered, logsCancel, cancels,
                            awaitsWaitsEnd, receiveStopped));
    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(SerialPortReceiving, StopWithACancelThatFindsNothing_IsSilent) {
    openAndAwaitRest();
    win32.fail(Call::cancelIo, ERROR_NOT_FOUND);
    port->close();
    EXPECT_THAT(receiveThreadEntries(),
                ElementsAre(receiveStarted, startsWait, waitEntered, logsCancel, cancels,
                            awaitsWaitsEnd, receiveStopped));
}

TEST_F(SerialPortReceiving, StopWithACancelThatFails_IsLoggedAndTheWaitAwaited) {
    openAndAwaitRest();
    win32.fail(Call::cancelIo, ERROR_GEN_FAILURE);
    port->close();
    EXPECT_THAT(receiveThreadEntries(),
                ElementsAre(receiveStarted, startsWait, waitEntered, logsCancel, cancels,
                            "E Failed to cancel outstanding operation. Text of error 31.  ",
                            awaitsWaitsEnd, receiveStopped));
}

TEST_F(SerialPortReceiving, WaitThatCannotStart_IsReported) {
    win32.fail(Call::waitCommEvent, ERROR_INVALID_PARAMETER);
    open();
    journal.await(receiveStopped);
    EXPECT_THAT(receiveThreadEntries(),
                ElementsAre(receiveStarted, startsWait,
                            "E Failed to wait for port event. Text of error 87.  ",
                            "Failed to wait for port event. Text of error 87.\r\n",
                            receiveStopped));
}

TEST_F(SerialPortReceiving, WaitThatCannotStartWithErrorsIgnored_IsReportedAllTheSame) {
    openAndAwaitRest();
    win32.fail(Call::waitCommEvent, ERROR_INVALID_PARAMETER);
    port->ignoreErrors();
    win32.arrive({1});
    journal.await(receiveStopped);
    EXPECT_THAT(reports(), ElementsAre("Failed to wait for port event. Text of error 87.\r\n"));
}

TEST_F(SerialPortReceiving, EventResultThatIsAFailure_IsReportedOnce) {
    openAndAwaitRest();
    win32.failPendingEventWait(ERROR_OPERATION_ABORTED);
    journal.await(receiveStopped);
    port->close();
    EXPECT_THAT(receiveThreadEntries(),
                ElementsAre(receiveStarted, startsWait, waitEntered, fetchesResult,
                            "E Failed to wait on port event. Text of error 995.  ",
                            "Failed to wait on port event. Text of error 995.\r\n",
                            receiveStopped));
}

TEST_F(SerialPortReceiving, EventResultThatIsAFailureWithErrorsIgnored_IsLoggedOnly) {
    openAndAwaitRest();
    port->ignoreErrors();
    win32.failPendingEventWait(ERROR_OPERATION_ABORTED);
    journal.await(receiveStopped);
    EXPECT_THAT(
        receiveThreadEntries(),
        ElementsAre(receiveStarted, startsWait, waitEntered, fetchesResult, "W Ignoring port error",
                    "W Failed to wait on port event. Text of error 995.  ", receiveStopped));
}

TEST_F(SerialPortReceiving, EventResultThatIsAFailureWithoutSystemText_ReportsTheNumber) {
    openAndAwaitRest();
    win32.haveNoTexts();
    win32.failPendingEventWait(ERROR_OPERATION_ABORTED);
    journal.await(receiveStopped);
    EXPECT_THAT(reports(), ElementsAre("Failed to wait on port event. Error 995."));
}

struct WaitFailure {
    DWORD result;
    const char* name;
};

class SerialPortEventWait : public SerialPortTest,
                            public testing::WithParamInterface<WaitFailure> {};

TEST_P(SerialPortEventWait, OtherResult_IsReportedAfterThePendingWaitHasEnded) {
    win32.answerWait(Call::waitForMultipleObjects, GetParam().result, ERROR_INVALID_HANDLE);
    open();
    journal.await(receiveStopped);
    EXPECT_THAT(receiveThreadEntries(),
                ElementsAre(receiveStarted, startsWait, waitEntered,
                            "E Failed waiting for events when reading data. Text of error 6.  ",
                            logsCancel, cancels, awaitsWaitsEnd,
                            "Failed waiting for events when reading data. Text of error 6.\r\n",
                            receiveStopped));
}

TEST_P(SerialPortEventWait, OtherResultWithErrorsIgnored_IsReportedAllTheSame) {
    openAndAwaitRest();
    port->ignoreErrors();
    win32.answerWait(Call::waitForMultipleObjects, GetParam().result, ERROR_INVALID_HANDLE);
    win32.arrive({1});
    journal.await(receiveStopped);
    EXPECT_THAT(reports(),
                ElementsAre("Failed waiting for events when reading data. Text of error 6.\r\n"));
}

INSTANTIATE_TEST_SUITE_P(Each, SerialPortEventWait,
                         testing::Values(WaitFailure{WAIT_FAILED, "Failed"},
                                         WaitFailure{WAIT_TIMEOUT, "TimeOut"},
                                         WaitFailure{WAIT_ABANDONED_0, "Abandoned"}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(SerialPortReceiving, ReadThatFails_IsReported) {
    openAndAwaitRest();
    win32.fail(Call::readFile, ERROR_GEN_FAILURE);
    win32.arrive({1});
    journal.await(receiveStopped);
    EXPECT_THAT(receiveThreadEntries(),
                ElementsAre(receiveStarted, startsWait, waitEntered, fetchesResult, reads,
                            "E Failed to read data from port. Text of error 31.  ",
                            "Failed to read data from port. Text of error 31.\r\n",
                            receiveStopped));
}

TEST_F(SerialPortReceiving, ReadThatFailsWithErrorsIgnored_IsReportedAllTheSame) {
    openAndAwaitRest();
    port->ignoreErrors();
    win32.fail(Call::readFile, ERROR_GEN_FAILURE);
    win32.arrive({1});
    journal.await(receiveStopped);
    EXPECT_THAT(reports(), ElementsAre("Failed to read data from port. Text of error 31.\r\n"));
}

TEST_F(SerialPortReceiving, ReadAfterAnEventAtOnceThatFails_IsReported) {
    win32.arriveDuringOpening({1});
    win32.fail(Call::readFile, ERROR_GEN_FAILURE, 2);
    open();
    journal.await(receiveStopped);
    EXPECT_THAT(reports(), ElementsAre("Failed to read data from port. Text of error 31.\r\n"));
}

TEST_F(SerialPortReceiving, ReadThatStaysPending_IsEndedAndReportedAsFailure) {
    openAndAwaitRest();
    win32.leaveNextReadPending();
    win32.arrive({1});
    journal.await(receiveStopped);
    EXPECT_THAT(receiveThreadEntries(),
                ElementsAre(receiveStarted, startsWait, waitEntered, fetchesResult, reads, cancels,
                            awaitsReadsEnd, "E Failed to read data from port. Text of error 997.  ",
                            "Failed to read data from port. Text of error 997.\r\n",
                            receiveStopped));
}

TEST_F(SerialPortReceiving, PercentSignsInTheSystemText_StayAsTheyAre) {
    openAndAwaitRest();
    win32.useText("%s%n%d");
    win32.fail(Call::readFile, ERROR_GEN_FAILURE);
    win32.arrive({1});
    journal.await(receiveStopped);
    EXPECT_THAT(reports(), ElementsAre("Failed to read data from port. %s%n%d"));
    EXPECT_THAT(logLines(), Contains("E Failed to read data from port. %s%n%d"));
}

TEST_F(SerialPortReceiving, MemoryThatRunsOutAtARead_IsReported) {
    openAndAwaitRest();
    win32.runOutOfMemory(Call::readFile);
    win32.arrive({1});
    journal.await(receiveStopped);
    EXPECT_THAT(receiveThreadEntries(),
                ElementsAre(receiveStarted, startsWait, waitEntered, fetchesResult, reads,
                            "E std::bad_alloc", "std::bad_alloc", receiveStopped));
}

TEST_F(SerialPortReceiving, MemoryThatRunsOutAtAWait_IsReportedAfterThePendingWaitHasEnded) {
    win32.runOutOfMemory(Call::waitForMultipleObjects);
    open();
    journal.await(receiveStopped);
    EXPECT_THAT(receiveThreadEntries(),
                ElementsAre(receiveStarted, startsWait, waitEntered, "E std::bad_alloc", logsCancel,
                            cancels, awaitsWaitsEnd, "std::bad_alloc", receiveStopped));
}

TEST_F(SerialPortReceiving, ErrorListenerThatThrows_LetsTheThreadEnd) {
    errors.throwAfterwards();
    openAndAwaitRest();
    win32.failPendingEventWait(ERROR_OPERATION_ABORTED);
    journal.await(receiveStopped);
    EXPECT_EQ(reports().size(), 1U);
}

TEST_F(SerialPortReceiving, Failure_IsReportedOnTheReceiveThread) {
    openAndAwaitRest();
    win32.failPendingEventWait(ERROR_OPERATION_ABORTED);
    journal.await(receiveStopped);
    EXPECT_EQ(journal.threadOf("Failed to wait on port event. Text of error 995.\r\n"),
              journal.threadOf(receiveStarted));
}

} // namespace
} // namespace ridge::test
