#include "porttest.h"

namespace ridge::simulator::tests {

using EventWait = PortTest;

TEST_F(EventWait, PendsUntilAByteComes) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    const OperationPointer wait = host.startWait();
    EXPECT_TRUE(wait->pended());
    EXPECT_FALSE(wait->completed());
    line.write({1});
    EXPECT_EQ(wait->wait().error, success);
    EXPECT_EQ(wait->events, static_cast<DWORD>(EV_RXCHAR));
}

TEST_F(EventWait, BytesThatCameBefore_CompleteItAtOnce) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    line.write({1});
    const OperationPointer wait = host.startWait();
    EXPECT_FALSE(wait->pended());
    EXPECT_EQ(wait->wait().error, success);
    EXPECT_EQ(wait->events, static_cast<DWORD>(EV_RXCHAR));
}

TEST_F(EventWait, BytesAlreadyReported_DoNotCompleteItAgain) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    line.write({1});
    EXPECT_EQ(host.startWait()->wait().error, success);
    const OperationPointer wait = host.startWait();
    EXPECT_TRUE(wait->pended());
    EXPECT_FALSE(wait->completed());
}

TEST_F(EventWait, AtTheLineEnd_WorksAsAtTheHost) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    const OperationPointer wait = line.startWait();
    EXPECT_TRUE(wait->pended());
    host.write({1});
    EXPECT_EQ(wait->wait().error, success);
    EXPECT_EQ(wait->events, static_cast<DWORD>(EV_RXCHAR));
}

TEST_F(EventWait, Cancelled_EndsAborted) {
    const PortEnd host = openHost();
    const OperationPointer wait = host.startWait();
    wait->cancel();
    EXPECT_EQ(wait->wait().error, static_cast<DWORD>(ERROR_OPERATION_ABORTED));
    EXPECT_TRUE(host.startWait()->pended());
}

TEST_F(EventWait, CancelledByCancelIo_EndsAborted) {
    const PortEnd host = openHost();
    const OperationPointer wait = host.startWait();
    EXPECT_NE(CancelIo(host.handle()), 0);
    EXPECT_EQ(wait->wait().error, static_cast<DWORD>(ERROR_OPERATION_ABORTED));
}

TEST_F(EventWait, SecondOneAtATime_IsRefused) {
    const PortEnd host = openHost();
    const OperationPointer wait = host.startWait();
    EXPECT_EQ(host.startWait()->wait().error, static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    EXPECT_FALSE(wait->completed());
}

TEST_F(EventWait, SettingTheMask_CompletesItWithoutEvents) {
    const PortEnd host = openHost();
    const OperationPointer wait = host.startWait();
    wait->events = EV_BREAK;
    EXPECT_NE(SetCommMask(host.handle(), EV_RXCHAR), 0);
    EXPECT_EQ(wait->wait().error, success);
    EXPECT_EQ(wait->events, 0U);
}

TEST_F(EventWait, WithAnEmptyMask_IsRefused) {
    const PortEnd host = openHost();
    EXPECT_NE(SetCommMask(host.handle(), 0), 0);
    EXPECT_EQ(host.startWait()->wait().error, static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST_F(EventWait, BytesThatComeWhileTheMaskIsEmpty_AreNotReported) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    EXPECT_NE(SetCommMask(host.handle(), 0), 0);
    line.write({1});
    EXPECT_NE(SetCommMask(host.handle(), EV_RXCHAR), 0);
    EXPECT_TRUE(host.startWait()->pended());
}

TEST_F(EventWait, OnWaitsOfBothEnds_ManyExchangesLoseNoWakeUp) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    for (unsigned round = 0; round < 500; ++round) {
        const Bytes bytes{static_cast<std::uint8_t>(round)};
        host.write(bytes);
        EXPECT_EQ(line.readExactly(1), bytes);
        line.write(bytes);
        EXPECT_EQ(host.readExactly(1), bytes);
    }
}

using Settings = PortTest;

TEST_F(Settings, ControlBlock_ReadsBackAsSet) {
    const PortEnd host = openHost();
    DCB block{};
    block.DCBlength = sizeof(block);
    ASSERT_NE(GetCommState(host.handle(), &block), 0);
    EXPECT_EQ(block.BaudRate, 9600U);
    EXPECT_EQ(block.ByteSize, 8);
    block.BaudRate = 115200;
    block.ByteSize = 7;
    block.Parity = EVENPARITY;
    block.StopBits = TWOSTOPBITS;
    block.fParity = TRUE;
    block.fOutX = TRUE;
    block.fDtrControl = DTR_CONTROL_DISABLE;
    block.fRtsControl = RTS_CONTROL_HANDSHAKE;
    block.XonLim = 100;
    block.XonChar = 'a';
    ASSERT_NE(SetCommState(host.handle(), &block), 0);

    DCB readBack{};
    readBack.DCBlength = sizeof(readBack);
    ASSERT_NE(GetCommState(host.handle(), &readBack), 0);
    EXPECT_EQ(readBack.BaudRate, 115200U);
    EXPECT_EQ(readBack.ByteSize, 7);
    EXPECT_EQ(readBack.Parity, EVENPARITY);
    EXPECT_EQ(readBack.StopBits, TWOSTOPBITS);
    EXPECT_EQ(readBack.fOutX, 1U);
    EXPECT_EQ(readBack.fDtrControl, static_cast<DWORD>(DTR_CONTROL_DISABLE));
    EXPECT_EQ(readBack.fRtsControl, static_cast<DWORD>(RTS_CONTROL_HANDSHAKE));
    EXPECT_EQ(readBack.XonLim, 100);
    EXPECT_EQ(readBack.XonChar, 'a');
}

TEST_F(Settings, ControlBlock_OutlivesTheHandle) {
    {
        const PortEnd host = openHost();
        DCB block{};
        block.DCBlength = sizeof(block);
        ASSERT_NE(GetCommState(host.handle(), &block), 0);
        block.BaudRate = 57600;
        ASSERT_NE(SetCommState(host.handle(), &block), 0);
    }
    const PortEnd host = openHost();
    DCB block{};
    block.DCBlength = sizeof(block);
    ASSERT_NE(GetCommState(host.handle(), &block), 0);
    EXPECT_EQ(block.BaudRate, 57600U);
}

TEST_F(Settings, ImpossibleWordLength_IsRefused) {
    const PortEnd host = openHost();
    DCB block{};
    block.DCBlength = sizeof(block);
    ASSERT_NE(GetCommState(host.handle(), &block), 0);
    block.ByteSize = 9;
    EXPECT_EQ(SetCommState(host.handle(), &block), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST_F(Settings, Timeouts_ReadBackAsSet) {
    const PortEnd host = openHost();
    COMMTIMEOUTS timeouts{1, 1, 1, 1, 1};
    ASSERT_NE(GetCommTimeouts(host.handle(), &timeouts), 0);
    EXPECT_EQ(timeouts.ReadIntervalTimeout, MAXDWORD);
    EXPECT_EQ(timeouts.ReadTotalTimeoutMultiplier, 0U);
    EXPECT_EQ(timeouts.ReadTotalTimeoutConstant, 0U);
    EXPECT_EQ(timeouts.WriteTotalTimeoutMultiplier, 0U);
    EXPECT_EQ(timeouts.WriteTotalTimeoutConstant, 0U);
}

TEST_F(Settings, TimeoutsThatNeedAClock_AreRefused) {
    const PortEnd host = openHost();
    COMMTIMEOUTS timeouts{};
    timeouts.ReadTotalTimeoutConstant = 100;
    EXPECT_EQ(SetCommTimeouts(host.handle(), &timeouts), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_SUPPORTED));
}

TEST_F(Settings, EventMask_ReadsBackAsSet) {
    const PortEnd host = openHost();
    ASSERT_NE(SetCommMask(host.handle(), EV_RXCHAR | EV_ERR), 0);
    DWORD mask = 0;
    ASSERT_NE(GetCommMask(host.handle(), &mask), 0);
    EXPECT_EQ(mask, static_cast<DWORD>(EV_RXCHAR | EV_ERR));
}

TEST_F(Settings, QueueCounts_AreTheBytesOnTheirWay) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    line.write({1, 2, 3});
    const OperationPointer write = host.startWrite(randomBytes(RIDGE_VPORT_FIFO_SIZE + 10, 1));
    DWORD errors = 1;
    COMSTAT status{};
    ASSERT_NE(ClearCommError(host.handle(), &errors, &status), 0);
    EXPECT_EQ(errors, 0U);
    EXPECT_EQ(status.cbInQue, 3U);
    EXPECT_EQ(status.cbOutQue, 10U);
}

TEST_F(Settings, Properties_NameTheQueueSize) {
    const PortEnd host = openHost();
    COMMPROP properties{};
    properties.wPacketLength = sizeof(properties);
    ASSERT_NE(GetCommProperties(host.handle(), &properties), 0);
    EXPECT_EQ(properties.dwCurrentRxQueue, RIDGE_VPORT_FIFO_SIZE);
    EXPECT_NE(SetupComm(host.handle(), 4096, 4096), 0);
}

using Purge = PortTest;

TEST_F(Purge, ReceiveClear_DropsUnreadBytes) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    line.write({1, 2, 3});
    EXPECT_NE(PurgeComm(host.handle(), PURGE_TXCLEAR | PURGE_RXCLEAR), 0);
    EXPECT_EQ(host.readAvailable(), Bytes{});
}

TEST_F(Purge, TransmitClear_KeepsBytesAlreadySent) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    host.write({1, 2, 3});
    EXPECT_NE(PurgeComm(host.handle(), PURGE_TXCLEAR | PURGE_RXCLEAR), 0);
    EXPECT_EQ(line.readAvailable(), (Bytes{1, 2, 3}));
}

TEST_F(Purge, TransmitAbort_EndsAPendingWrite) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    const OperationPointer write = host.startWrite(randomBytes(RIDGE_VPORT_FIFO_SIZE + 1, 1));
    EXPECT_NE(PurgeComm(host.handle(), PURGE_TXABORT), 0);
    EXPECT_EQ(write->wait().error, static_cast<DWORD>(ERROR_OPERATION_ABORTED));
}

TEST_F(Purge, ReceiveAbort_EndsAPendingRead) {
    const PortEnd host = openHost();
    host.setReadTimeouts(0);
    const OperationPointer read = host.startRead(1);
    EXPECT_NE(PurgeComm(host.handle(), PURGE_RXABORT), 0);
    EXPECT_EQ(read->wait().error, static_cast<DWORD>(ERROR_OPERATION_ABORTED));
}

TEST_F(Purge, OfNothing_IsRefused) {
    const PortEnd host = openHost();
    EXPECT_EQ(PurgeComm(host.handle(), 0), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

} // namespace ridge::simulator::tests
