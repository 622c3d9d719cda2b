#include "porttest.h"

#include <atomic>
#include <future>
#include <random>
#include <vector>

namespace ridge::simulator::tests {

namespace {

constexpr std::size_t megabyte = 1U << 20U;

void writeInRandomChunks(const PortEnd& end, const Bytes& bytes, unsigned seed) {
    std::mt19937 generator(seed);
    std::uniform_int_distribution<std::size_t> chunkSize(1, 100000);
    for (std::size_t position = 0; position < bytes.size();) {
        const std::size_t size = std::min(chunkSize(generator), bytes.size() - position);
        const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(position);
        end.write(Bytes(first, first + static_cast<std::ptrdiff_t>(size)));
        position += size;
    }
}

Bytes readInRandomChunks(const PortEnd& end, std::size_t size, unsigned seed) {
    std::mt19937 generator(seed);
    std::uniform_int_distribution<DWORD> chunkSize(1, 70000);
    Bytes bytes;
    while (bytes.size() < size) {
        EXPECT_EQ(end.startWait()->wait().error, static_cast<DWORD>(ERROR_SUCCESS));
        for (;;) {
            const OperationPointer read = end.startRead(chunkSize(generator));
            const Outcome outcome = read->wait();
            EXPECT_EQ(outcome.error, static_cast<DWORD>(ERROR_SUCCESS));
            if (outcome.count == 0) {
                break;
            }
            bytes.insert(bytes.end(), read->buffer.begin(), read->buffer.begin() + outcome.count);
        }
    }
    return bytes;
}

// Sends single bytes to and fro; both ends wait for events most of the time. Returns how many of
// these waits failed.
int failedWaitsOfAConversation(int rounds) {
    const std::unique_ptr<VirtualPort> port = createFreePort();
    const PortEnd host(port->hostName());
    const PortEnd line(port->lineName());
    std::future<int> answering = std::async(std::launch::async, [&line, rounds] {
        int failures = 0;
        for (int round = 0; round < rounds; ++round) {
            failures += line.startWait()->wait().error == ERROR_SUCCESS ? 0 : 1;
            line.readAvailable();
            line.write({2});
        }
        return failures;
    });
    int failures = 0;
    for (int round = 0; round < rounds; ++round) {
        const OperationPointer wait = host.startWait();
        host.write({1});
        failures += wait->wait().error == ERROR_SUCCESS ? 0 : 1;
        host.readAvailable();
    }
    return failures + answering.get();
}

// Cancels waits just when bytes arrive that complete them.
void cancelWaitsWhile(const std::atomic<bool>& talking) {
    const std::unique_ptr<VirtualPort> port = createFreePort();
    const PortEnd host(port->hostName());
    const PortEnd line(port->lineName());
    std::future<void> writing = std::async(std::launch::async, [&] {
        while (talking) {
            line.write({3});
        }
    });
    while (talking) {
        const OperationPointer wait = host.startWait();
        // Often there is nothing left to cancel.
        CancelIoEx(host.handle(), &wait->overlapped);
        wait->wait();
        host.readAvailable();
    }
    writing.get();
}

} // namespace

using Transfer = PortTest;

TEST_F(Transfer, BytesWrittenAtTheHost_AreReadAtTheLine) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    host.write({1, 2, 3});
    EXPECT_EQ(line.readAvailable(), (Bytes{1, 2, 3}));
    EXPECT_EQ(host.readAvailable(), Bytes{});
}

TEST_F(Transfer, BytesWrittenAtTheLine_AreReadAtTheHost) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    line.write({4, 5});
    EXPECT_EQ(host.readAvailable(), (Bytes{4, 5}));
    EXPECT_EQ(line.readAvailable(), Bytes{});
}

TEST_F(Transfer, MegabyteBothWaysAtOnceInRandomChunks_ArrivesInOrder) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    const Bytes toLine = randomBytes(megabyte, 1);
    const Bytes toHost = randomBytes(megabyte, 2);

    auto hostWriter = std::async(std::launch::async, [&] { writeInRandomChunks(host, toLine, 3); });
    auto lineWriter = std::async(std::launch::async, [&] { writeInRandomChunks(line, toHost, 4); });
    auto hostReader =
        std::async(std::launch::async, [&] { return readInRandomChunks(host, toHost.size(), 5); });
    const Bytes atLine = readInRandomChunks(line, toLine.size(), 6);
    const Bytes atHost = hostReader.get();
    hostWriter.get();
    lineWriter.get();
    EXPECT_TRUE(atLine == toLine);
    EXPECT_TRUE(atHost == toHost);
}

TEST_F(Transfer, MegabyteAsOneWrite_ArrivesInOrder) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    const Bytes bytes = randomBytes(megabyte, 7);
    const OperationPointer write = host.startWrite(bytes);
    EXPECT_TRUE(line.readExactly(bytes.size()) == bytes);
    const Outcome outcome = write->wait();
    EXPECT_EQ(outcome.error, static_cast<DWORD>(ERROR_SUCCESS));
    EXPECT_EQ(outcome.count, bytes.size());
}

TEST_F(Transfer, TwoPortsAtOnce_KeepTheirBytesApart) {
    const auto otherPort = createFreePort();
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    const PortEnd otherHost(otherPort->hostName());
    const PortEnd otherLine(otherPort->lineName());
    host.write({1});
    otherHost.write({2, 2});
    EXPECT_EQ(otherLine.readAvailable(), (Bytes{2, 2}));
    EXPECT_EQ(line.readAvailable(), Bytes{1});
}

TEST_F(Transfer, WriteToAnEndThatNobodyHasOpen_IsDropped) {
    const PortEnd host = openHost();
    host.write(randomBytes(megabyte, 8));
    const PortEnd line = openLine();
    EXPECT_EQ(line.readAvailable(), Bytes{});
    host.write({9});
    EXPECT_EQ(line.readAvailable(), Bytes{9});
}

TEST_F(Transfer, ClosingAnEnd_DropsWhatItHasNotRead) {
    const PortEnd line = openLine();
    {
        const PortEnd host = openHost();
        line.write({1, 2});
    }
    const PortEnd host = openHost();
    EXPECT_EQ(host.readAvailable(), Bytes{});
}

TEST_F(Transfer, ClosingTheWriter_LeavesItsBytesToTheReader) {
    const PortEnd line = openLine();
    {
        const PortEnd host = openHost();
        host.write({1, 2});
    }
    EXPECT_EQ(line.readAvailable(), (Bytes{1, 2}));
}

TEST_F(Transfer, ReadOfAnEmptyPort_CompletesAtOnceWithNoBytes) {
    const PortEnd host = openHost();
    const OperationPointer read = host.startRead(30000);
    EXPECT_FALSE(read->pended());
    const Outcome outcome = read->wait();
    EXPECT_EQ(outcome.error, static_cast<DWORD>(ERROR_SUCCESS));
    EXPECT_EQ(outcome.count, 0U);
}

TEST_F(Transfer, ReadOfFewerBytesThanBuffered_LeavesTheRest) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    line.write({1, 2, 3, 4, 5});
    const OperationPointer read = host.startRead(2);
    EXPECT_FALSE(read->pended());
    EXPECT_EQ(read->wait().count, 2U);
    EXPECT_EQ(read->buffer, (Bytes{1, 2}));
    EXPECT_EQ(host.readAvailable(), (Bytes{3, 4, 5}));
}

TEST_F(Transfer, ReadWithoutTimeouts_PendsUntilAllBytesHaveCome) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    host.setReadTimeouts(0);
    const OperationPointer read = host.startRead(3);
    EXPECT_TRUE(read->pended());
    line.write({1, 2});
    EXPECT_FALSE(read->completed());
    line.write({3, 4});
    EXPECT_EQ(read->wait().count, 3U);
    EXPECT_EQ(read->buffer, (Bytes{1, 2, 3}));
}

TEST_F(Transfer, CancelledRead_LeavesTheBytesThatHaveCome) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    host.setReadTimeouts(0);
    const OperationPointer read = host.startRead(3);
    line.write({1, 2});
    read->cancel();
    EXPECT_EQ(read->wait().error, static_cast<DWORD>(ERROR_OPERATION_ABORTED));
    host.setReadTimeouts(MAXDWORD);
    EXPECT_EQ(host.readAvailable(), (Bytes{1, 2}));
}

TEST_F(Transfer, WriteThatFits_CompletesAtOnce) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    const OperationPointer write = host.startWrite(randomBytes(RIDGE_VPORT_FIFO_SIZE, 1));
    EXPECT_FALSE(write->pended());
    EXPECT_EQ(write->wait().count, RIDGE_VPORT_FIFO_SIZE);
}

TEST_F(Transfer, WriteThatDoesNotFit_PendsUntilDrained) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    const Bytes bytes = randomBytes(RIDGE_VPORT_FIFO_SIZE + 1, 1);
    const OperationPointer write = host.startWrite(bytes);
    EXPECT_TRUE(write->pended());
    EXPECT_FALSE(write->completed());
    EXPECT_TRUE(line.readAvailable() == bytes);
    const Outcome outcome = write->wait();
    EXPECT_EQ(outcome.error, static_cast<DWORD>(ERROR_SUCCESS));
    EXPECT_EQ(outcome.count, bytes.size());
}

TEST_F(Transfer, PendingWrites_KeepTheirOrder) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    Bytes all;
    std::vector<OperationPointer> writes;
    for (unsigned number = 0; number < 4; ++number) {
        const Bytes bytes = randomBytes(50000, number);
        all.insert(all.end(), bytes.begin(), bytes.end());
        writes.push_back(host.startWrite(bytes));
    }
    EXPECT_TRUE(line.readAvailable() == all);
    for (const OperationPointer& write : writes) {
        EXPECT_EQ(write->wait().count, 50000U);
    }
}

TEST_F(Transfer, CancelledWrite_SendsNoMoreOfItsBytes) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    Bytes bytes = randomBytes(RIDGE_VPORT_FIFO_SIZE + 100, 1);
    const OperationPointer write = host.startWrite(bytes);
    write->cancel();
    EXPECT_EQ(write->wait().error, static_cast<DWORD>(ERROR_OPERATION_ABORTED));
    bytes.resize(RIDGE_VPORT_FIFO_SIZE);
    EXPECT_TRUE(line.readAvailable() == bytes);
    host.write({1});
    EXPECT_EQ(line.readAvailable(), Bytes{1});
}

TEST_F(Transfer, ClosingTheReader_CompletesAPendingWrite) {
    const PortEnd host = openHost();
    const Bytes bytes = randomBytes(RIDGE_VPORT_FIFO_SIZE + 1, 1);
    OperationPointer write;
    {
        const PortEnd line = openLine();
        write = host.startWrite(bytes);
        EXPECT_TRUE(write->pended());
    }
    EXPECT_EQ(write->wait().count, bytes.size());
}

// A cancellation that is under way when its request completes must not meet another one.
TEST(Cancellation, ThatComesTooLate_EndsNoOtherRequest) {
    constexpr int rounds = 500;
    constexpr int portsOfEachKind = 3;
    std::atomic<bool> talking = true;
    std::vector<std::future<void>> cancelling;
    std::vector<std::future<int>> conversations;
    for (int index = 0; index < portsOfEachKind; ++index) {
        cancelling.push_back(
            std::async(std::launch::async, [&talking] { cancelWaitsWhile(talking); }));
        conversations.push_back(
            std::async(std::launch::async, [] { return failedWaitsOfAConversation(rounds); }));
    }
    for (std::future<int>& conversation : conversations) {
        EXPECT_EQ(conversation.get(), 0);
    }
    talking = false;
    for (std::future<void>& canceller : cancelling) {
        canceller.get();
    }
}

TEST_F(Transfer, FlushBehindAPendingWrite_CompletesOnceItHasGone) {
    const PortEnd host = openHost();
    const PortEnd line = openLine();
    const OperationPointer write = host.startWrite(randomBytes(RIDGE_VPORT_FIFO_SIZE + 1, 1));
    EXPECT_TRUE(write->pended());
    EXPECT_EQ(line.readAvailable().size(), RIDGE_VPORT_FIFO_SIZE + 1);
    EXPECT_NE(FlushFileBuffers(host.handle()), 0);
    EXPECT_EQ(write->wait().error, static_cast<DWORD>(ERROR_SUCCESS));
}

} // namespace ridge::simulator::tests
