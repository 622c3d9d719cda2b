#include "serialporttest.h"

#include <algorithm>
#include <cstdio>
#include <optional>

namespace ridge::test {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

class SerialPortClosing : public SerialPortTest {
protected:
    void SetUp() override {
        openAndAwaitRest();
        callsBefore = ownCalls().size();
    }

    [[nodiscard]] std::vector<std::string> closingCalls() const {
        const std::vector<std::string> calls = ownCalls();
        return {calls.begin() + static_cast<std::ptrdiff_t>(callsBefore), calls.end()};
    }

    /// Where the entry stands in the journal.
    [[nodiscard]] std::ptrdiff_t placeOf(const std::string& text) const {
        const std::vector<std::string> entries = journal.entries();
        return std::find(entries.begin(), entries.end(), text) - entries.begin();
    }

    static constexpr const char* closing = "I Closing device port";

    std::size_t callsBefore = 0;
};

TEST_F(SerialPortClosing, Close_StopsTheThreadsAndReleasesEverything) {
    port->close();
    EXPECT_EQ(win32.runningThreads(), 0);
    EXPECT_EQ(win32.openHandles(), 0);
    const std::vector<std::string> calls = closingCalls();
    ASSERT_EQ(calls.size(), 6U);
    EXPECT_EQ(calls[0], "SetEvent(stop)");
    EXPECT_EQ(calls[1], "CloseHandle(port)");
    EXPECT_THAT(std::vector<std::string>(calls.begin() + 2, calls.end()),
                UnorderedElementsAre("CloseHandle(stop)", "CloseHandle(read)",
                                     "CloseHandle(receive)", "CloseHandle(send)"));
}

TEST_F(SerialPortClosing, Close_ReleasesThePortAfterBothThreadsHaveEnded) {
    port->close();
    EXPECT_LT(placeOf(closing), placeOf("SetEvent(stop)"));
    EXPECT_LT(placeOf("SetEvent(stop)"), placeOf("I Canceling outstanding notification event"));
    EXPECT_LT(placeOf(receiveStopped), placeOf("CloseHandle(port)"));
    EXPECT_LT(placeOf("I Dispatch thread stopped"), placeOf("CloseHandle(port)"));
}

TEST_F(SerialPortClosing, WholeLife_LeavesTheseLogLines) {
    win32.arrive({1});
    listener.awaitBlocks(1);
    journal.await(waitEntered, 2);
    port->close();
    const auto linesOf = [this](const char* text) {
        return journal.entries(PortJournal::Kind::log, journal.threadOf(text));
    };
    EXPECT_THAT(journal.entries(PortJournal::Kind::log, GetCurrentThreadId()),
                ElementsAre(R"(I Initializing device port \\.\COM7)", "I Device port initialized",
                            closing));
    EXPECT_THAT(
        linesOf(receiveStarted),
        ElementsAre(receiveStarted, "I Canceling outstanding notification event", receiveStopped));
    EXPECT_THAT(linesOf("I Dispatch thread started"),
                ElementsAre("I Dispatch thread started", "I Dispatch thread stopped"));
    EXPECT_EQ(logLines().size(), 8U);
    EXPECT_EQ(logLines().front(), R"(I Initializing device port \\.\COM7)");
}

TEST_F(SerialPortClosing, CloseTwice_LogsTwiceAndDoesNothingElse) {
    port->close();
    const std::size_t calls = ownCalls().size();
    port->close();
    EXPECT_EQ(ownCalls().size(), calls);
    const std::vector<std::string> lines = logLines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), closing), 2);
    EXPECT_EQ(lines.back(), closing);
}

TEST_F(SerialPortClosing, Destruction_Closes) {
    port.reset();
    EXPECT_EQ(win32.runningThreads(), 0);
    EXPECT_EQ(win32.openHandles(), 0);
    const std::vector<std::string> lines = logLines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), closing), 1);
}

TEST_F(SerialPortClosing, ReceivingSideHasFailed_CloseReleasesEverything) {
    win32.failPendingEventWait(ERROR_GEN_FAILURE);
    journal.await(receiveStopped);
    port->close();
    EXPECT_EQ(win32.runningThreads(), 0);
    EXPECT_EQ(win32.openHandles(), 0);
    EXPECT_EQ(closingCalls().front(), "SetEvent(stop)");
    EXPECT_EQ(reports().size(), 1U);
}

TEST_F(SerialPortClosing, ClosedPort_PurgeAndIgnoreErrorsTouchNothing) {
    port->close();
    const std::size_t entries = journal.entries().size();
    port->purge();
    port->ignoreErrors();
    EXPECT_EQ(journal.entries().size(), entries);
}

/// Writes the error lines to where a death test looks for them.
class StandardErrorLogger final : public Logger {
public:
    void log(std::int32_t level, const std::string& line) override {
        if (level == logError) {
            std::fprintf(stderr, "%s\n", line.c_str());
            std::fflush(stderr);
        }
    }
};

class SerialPortClosingDeathTest : public SerialPortTest {
protected:
    SerialPortClosingDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    static void logToStandardError() {
        removeLogger();
        installLogger(std::make_unique<StandardErrorLogger>(), logDebug);
    }
};

TEST_F(SerialPortClosingDeathTest, StopEventThatCannotBeSet_IsLoggedAndEndsTheProcess) {
    EXPECT_DEATH(
        {
            openAndAwaitRest();
            logToStandardError();
            win32.fail(Call::setEvent, ERROR_INVALID_HANDLE);
            port->close();
        },
        "Error setting close event\\. Text of error 6\\.");
}

/// Closes the port out of its own thread, as no owner may.
class ClosingListener final : public SerialPortListener, public SerialPortErrorListener {
public:
    void onData(const std::uint8_t*, std::uint32_t) override { port->close(); }
    void onByte(std::uint8_t) override {}
    void onSerialPortError(const std::string&) override { port->close(); }

    SerialPort* port = nullptr;
};

class SerialPortSelfClosingDeathTest : public SerialPortClosingDeathTest {
protected:
    void openForSelfClosing() {
        selfClosing.port = &selfClosed.emplace(portName, selfClosing, selfClosing);
        journal.await(waitEntered);
        logToStandardError();
    }

    /// For a process that another thread is going to end.
    void awaitEnd() { journal.await("the end"); }

    ClosingListener selfClosing;
    std::optional<DefaultSerialPort<std::string>> selfClosed;
};

TEST_F(SerialPortSelfClosingDeathTest, DispatchThreadThatCannotBeAwaited_IsLogged) {
    EXPECT_DEATH(
        {
            openForSelfClosing();
            win32.arrive({1});
            awaitEnd();
        },
        "Error waiting for dispatch thread to stop\\. .+");
}

TEST_F(SerialPortSelfClosingDeathTest, ReceiveThreadThatCannotBeAwaited_IsLogged) {
    EXPECT_DEATH(
        {
            openForSelfClosing();
            win32.failPendingEventWait(ERROR_GEN_FAILURE);
            awaitEnd();
        },
        "Error waiting for receive thread to stop\\. .+");
}

} // namespace
} // namespace ridge::test
