#include "serialporttest.h"
#include "statuscode.h"
#include "throwsridgeexception.h"

namespace ridge::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SerialPortWriting : public SerialPortTest {
protected:
    SerialPortWriting() {
        openAndAwaitRest();
        entriesBefore = journal.entries(GetCurrentThreadId()).size();
    }

    void write() { port->write(frame.data(), static_cast<std::uint32_t>(frame.size())); }

    /// What this thread has called and logged since the port was opened.
    [[nodiscard]] std::vector<std::string> writeEntries() const {
        const std::vector<std::string> entries = journal.entries(GetCurrentThreadId());
        return {entries.begin() + static_cast<std::ptrdiff_t>(entriesBefore), entries.end()};
    }

    static constexpr const char* startsWrite = "WriteFile(port, 5, count null, send)";
    static constexpr const char* waits = "WaitForSingleObject(send, 3000)";
    static constexpr const char* fetchesResult = "GetOverlappedResult(port, send, at once)";
    static constexpr const char* awaitsEnd = "GetOverlappedResult(port, send, wait)";
    static constexpr const char* cancels = "CancelIo(port)";
    static constexpr const char* logsCancel = "I Canceling outstanding write";

    const Bytes frame{0x7E, 0x00, 0xFF, 0x0A, 0x7F};
    std::size_t entriesBefore;
};

TEST_F(SerialPortWriting, NullPointer_TouchesNothing) {
    port->write(nullptr, 5);
    EXPECT_THAT(writeEntries(), IsEmpty());
}

TEST_F(SerialPortWriting, NoBytes_TouchesNothing) {
    port->write(frame.data(), 0);
    EXPECT_THAT(writeEntries(), IsEmpty());
}

TEST_F(SerialPortWriting, WriteThatEndsAtOnce_IsNotWaitedFor) {
    write();
    EXPECT_THAT(writeEntries(), ElementsAre(startsWrite));
    EXPECT_EQ(win32.written(), frame);
}

TEST_F(SerialPortWriting, PendingWrite_IsWaitedForAtMost3000Ms) {
    win32.endWritesWhileWaitedFor();
    write();
    EXPECT_THAT(writeEntries(), ElementsAre(startsWrite, waits, fetchesResult));
    EXPECT_EQ(win32.written(), frame);
}

TEST_F(SerialPortWriting, SeveralWrites_LeaveInOrder) {
    win32.endWritesWhileWaitedFor();
    write();
    write();
    Bytes twice = frame;
    twice.insert(twice.end(), frame.begin(), frame.end());
    EXPECT_EQ(win32.written(), twice);
}

TEST_F(SerialPortWriting, WriteThatFailsAtOnce_Throws) {
    win32.fail(Call::writeFile, ERROR_BAD_COMMAND);
    EXPECT_THAT([this] { write(); },
                throwsRidgeException(status::serialPort,
                                     "Error writing to device port. Text of error 22.\r\n"));
    EXPECT_THAT(
        writeEntries(),
        ElementsAre(startsWrite, "E Error 5 - Error writing to device port. Text of error 22.  "));
}

TEST_F(SerialPortWriting, WriteThatFailsAtOnceWithoutSystemText_ThrowsTheNumber) {
    win32.haveNoTexts();
    win32.fail(Call::writeFile, ERROR_BAD_COMMAND);
    EXPECT_THAT(
        [this] { write(); },
        throwsRidgeException(status::serialPort, "Error writing to device port. Error 22."));
}

TEST_F(SerialPortWriting, TimeOut_EndsTheWriteBeforeItThrows) {
    win32.leaveWritesPending();
    EXPECT_THAT([this] { write(); },
                throwsRidgeException(status::timeout, "Timeout writing to device port"));
    EXPECT_THAT(writeEntries(), ElementsAre(startsWrite, waits, logsCancel, cancels, awaitsEnd,
                                            "E Error 7 - Timeout writing to device port"));
}

TEST_F(SerialPortWriting, WriteAfterATimeOut_Works) {
    win32.leaveWritesPending();
    EXPECT_ANY_THROW(write());
    win32.endWritesWhileWaitedFor();
    EXPECT_NO_THROW(write());
}

TEST_F(SerialPortWriting, WaitThatFails_EndsTheWriteBeforeItThrows) {
    win32.leaveWritesPending();
    win32.fail(Call::waitForSingleObject, ERROR_INVALID_HANDLE);
    EXPECT_THAT(
        [this] { write(); },
        throwsRidgeException(status::serialPort,
                             "Error waiting for port write to complete. Text of error 6.\r\n"));
    EXPECT_THAT(
        writeEntries(),
        ElementsAre(startsWrite, waits, logsCancel, cancels, awaitsEnd,
                    "E Error 5 - Error waiting for port write to complete. Text of error 6.  "));
}

TEST_F(SerialPortWriting, WaitThatFails_ReportsItsOwnErrorWhenTheCancelFailsToo) {
    win32.leaveWritesPending();
    win32.fail(Call::waitForSingleObject, ERROR_INVALID_HANDLE);
    win32.fail(Call::cancelIo, ERROR_GEN_FAILURE);
    EXPECT_THAT(
        [this] { write(); },
        throwsRidgeException(status::serialPort,
                             "Error waiting for port write to complete. Text of error 6.\r\n"));
}

TEST_F(SerialPortWriting, WaitWithAnotherResult_EndsTheWriteBeforeItThrows) {
    win32.leaveWritesPending();
    win32.answerWait(Call::waitForSingleObject, WAIT_ABANDONED, ERROR_GEN_FAILURE);
    EXPECT_THAT(
        [this] { write(); },
        throwsRidgeException(status::serialPort,
                             "Error waiting for port write to complete. Text of error 31.\r\n"));
    EXPECT_THAT(
        writeEntries(),
        ElementsAre(startsWrite, waits, logsCancel, cancels, awaitsEnd,
                    "E Error 5 - Error waiting for port write to complete. Text of error 31.  "));
}

TEST_F(SerialPortWriting, ResultThatIsAFailure_Throws) {
    win32.failWritesWhileWaitedFor(ERROR_OPERATION_ABORTED);
    EXPECT_THAT([this] { write(); },
                throwsRidgeException(status::serialPort,
                                     "Error writing to device port. Text of error 995.\r\n"));
    EXPECT_THAT(writeEntries(),
                ElementsAre(startsWrite, waits, fetchesResult,
                            "E Error 5 - Error writing to device port. Text of error 995.  "));
}

TEST_F(SerialPortWriting, FewerBytes_ThrowsTheRequestedCountFirst) {
    win32.cutWritesWhileWaitedFor(2, ERROR_COUNTER_TIMEOUT);
    EXPECT_THAT([this] { write(); },
                throwsRidgeException(status::serialPort,
                                     "Error writing 5/2 to device port. Text of error 1121.\r\n"));
    EXPECT_THAT(writeEntries(),
                ElementsAre(startsWrite, waits, fetchesResult,
                            "E Error 5 - Error writing 5/2 to device port. Text of error 1121.  "));
}

TEST_F(SerialPortWriting, MoreBytes_Throws) {
    win32.cutWritesWhileWaitedFor(6, ERROR_COUNTER_TIMEOUT);
    EXPECT_THAT([this] { write(); },
                throwsRidgeException(status::serialPort,
                                     "Error writing 5/6 to device port. Text of error 1121.\r\n"));
}

TEST_F(SerialPortWriting, CancelThatFindsNothing_IsSilent) {
    win32.leaveWritesPending();
    win32.fail(Call::cancelIo, ERROR_NOT_FOUND);
    EXPECT_THAT([this] { write(); },
                throwsRidgeException(status::timeout, "Timeout writing to device port"));
    EXPECT_THAT(writeEntries(), ElementsAre(startsWrite, waits, logsCancel, cancels, awaitsEnd,
                                            "E Error 7 - Timeout writing to device port"));
}

TEST_F(SerialPortWriting, CancelThatFails_IsLoggedAndTheWriteAwaited) {
    win32.leaveWritesPending();
    win32.fail(Call::cancelIo, ERROR_GEN_FAILURE);
    EXPECT_THAT([this] { write(); },
                throwsRidgeException(status::timeout, "Timeout writing to device port"));
    EXPECT_THAT(writeEntries(),
                ElementsAre(startsWrite, waits, logsCancel, cancels,
                            "E Failed to cancel outstanding operation. Text of error 31.  ",
                            awaitsEnd, "E Error 7 - Timeout writing to device port"));
}

TEST_F(SerialPortWriting, TimeOut_LeavesThePendingWaitForBytesAlone) {
    win32.leaveWritesPending();
    EXPECT_ANY_THROW(write());
    win32.arrive({1, 2, 3});
    listener.awaitBlocks(1);
    EXPECT_THAT(listener.blocks(), ElementsAre(Bytes{1, 2, 3}));
}

TEST_F(SerialPortWriting, ReceivingSideHasFailed_WritingStillWorks) {
    win32.failPendingEventWait(ERROR_GEN_FAILURE);
    journal.await(receiveStopped);
    write();
    EXPECT_EQ(win32.written(), frame);
}

TEST_F(SerialPortWriting, Purge_DiscardsBothQueuesAndIgnoresTheResult) {
    win32.fail(Call::purgeComm, ERROR_GEN_FAILURE);
    port->purge();
    EXPECT_THAT(writeEntries(), ElementsAre("PurgeComm(port, c)"));
}

TEST_F(SerialPortWriting, ClosedPort_ThrowsStatus5) {
    port->close();
    EXPECT_THAT([this] { write(); },
                throwsRidgeException(status::serialPort,
                                     "Error writing to device port. Text of error 6.\r\n"));
    EXPECT_THAT(win32.written(), IsEmpty());
}

TEST_F(SerialPortWriting, ClosedPort_WriteOfNothingReturns) {
    port->close();
    EXPECT_NO_THROW(port->write(nullptr, 5));
    EXPECT_NO_THROW(port->write(frame.data(), 0));
}

} // namespace
} // namespace ridge::test
