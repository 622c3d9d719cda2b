#pragma once

#include "defaultserialport.h"
#include "fakewin32.h"
#include "logger.h"
#include "logmessage.h"
#include "portjournal.h"

#include <windows.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace ridge::test {

/// Enters each log line as its level and its message, without the line's prefix.
class JournalLogger final : public Logger {
public:
    explicit JournalLogger(PortJournal& usedJournal) : journal(usedJournal) {}

    void log(std::int32_t level, const std::string& line) override {
        const std::string endOfPrefix = "] ";
        journal.add(PortJournal::Kind::log,
                    std::string{static_cast<char>(level), ' '} +
                        line.substr(line.find(endOfPrefix) + endOfPrefix.size()));
    }

private:
    PortJournal& journal;
};

/// Keeps the blocks that it is handed, and can keep the dispatch thread inside the call.
class BlockListener final : public SerialPortListener {
public:
    void onData(const std::uint8_t* bytes, std::uint32_t size) override {
        std::unique_lock lock(mutex);
        received.emplace_back(bytes, bytes + size);
        threadId = GetCurrentThreadId();
        changed.notify_all();
        changed.wait(lock, [this] { return !holding || leaves > 0; });
        if (holding) {
            --leaves;
        }
        if (throwing) {
            throw std::runtime_error("no use for it");
        }
    }

    void onByte(std::uint8_t byte) override { ADD_FAILURE() << "single byte " << int{byte}; }

    /// Lets no call return until told to.
    void hold() {
        const std::lock_guard lock(mutex);
        holding = true;
    }

    void letOneReturn() {
        const std::lock_guard lock(mutex);
        ++leaves;
        changed.notify_all();
    }

    void letAllReturn() {
        const std::lock_guard lock(mutex);
        holding = false;
        changed.notify_all();
    }

    void throwAfterwards() {
        const std::lock_guard lock(mutex);
        throwing = true;
    }

    void awaitBlocks(std::size_t count) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return received.size() >= count; });
    }

    [[nodiscard]] std::vector<Bytes> blocks() const {
        const std::lock_guard lock(mutex);
        return received;
    }

    [[nodiscard]] std::uint32_t thread() const {
        const std::lock_guard lock(mutex);
        return threadId;
    }

private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<Bytes> received;
    std::uint32_t threadId = 0;
    int leaves = 0;
    bool holding = false;
    bool throwing = false;
};

/// Enters each report in the journal.
class JournalErrorListener final : public SerialPortErrorListener {
public:
    explicit JournalErrorListener(PortJournal& usedJournal) : journal(usedJournal) {}

    void onSerialPortError(const std::string& text) override {
        journal.add(PortJournal::Kind::report, text);
        if (throwing) {
            throw std::runtime_error("not now");
        }
    }

    void throwAfterwards() { throwing = true; }

private:
    PortJournal& journal;
    bool throwing = false;
};

/// A serial port over the replaced Win32 calls. However a test ends, nothing may be left behind.
class SerialPortTest : public testing::Test {
protected:
    static constexpr const char* portName = R"(\\.\COM7)";
    static constexpr const char* waitEntered =
        "WaitForMultipleObjects(stop, receive, any, infinite)";
    static constexpr const char* receiveStarted = "I Port receive thread started";
    static constexpr const char* receiveStopped = "I Port receive thread stopped";

    SerialPortTest() {
        removeLogger();
        installLogger(std::make_unique<JournalLogger>(journal), logDebug);
    }

    ~SerialPortTest() override {
        listener.letAllReturn();
        port.reset();
        EXPECT_EQ(win32.openHandles(), 0);
        EXPECT_EQ(win32.runningThreads(), 0);
        EXPECT_EQ(win32.unreleasedTexts(), 0);
        EXPECT_THAT(win32.misuses(), testing::IsEmpty());
        removeLogger();
    }

    void open(const std::string& name = portName) {
        port = std::make_unique<DefaultSerialPort<std::string>>(name, listener, errors);
    }

    /// Opens the port and lets its receive thread come to rest.
    void openAndAwaitRest() {
        open();
        journal.await(waitEntered);
    }

    /// With the receive thread at rest before and afterwards.
    void arriveAndAwaitRest(Bytes bytes) {
        win32.arrive(std::move(bytes));
        journal.await(waitEntered, ++rests);
    }

    [[nodiscard]] std::vector<std::string> ownCalls() const {
        return journal.entries(PortJournal::Kind::call, GetCurrentThreadId());
    }

    [[nodiscard]] std::vector<std::string> logLines() const {
        return journal.entries(PortJournal::Kind::log);
    }

    /// What the receive thread has called, logged and reported.
    [[nodiscard]] std::vector<std::string> receiveThreadEntries() const {
        return journal.entries(journal.threadOf(receiveStarted));
    }

    [[nodiscard]] std::vector<std::string> reports() const {
        return journal.entries(PortJournal::Kind::report);
    }

    PortJournal journal;
    FakeWin32 win32{journal};
    BlockListener listener;
    JournalErrorListener errors{journal};
    std::unique_ptr<SerialPort> port;

private:
    int rests = 1;
};

} // namespace ridge::test
