#include "childprocess.h"
#include "patience.h"
#include "simulatorprocess.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>

namespace ridge::test {
namespace {

const std::string program = "example-watch-scanners.exe";

/// The example while it runs. What it does next is decided by what it has said.
class Watcher {
public:
    explicit Watcher(const std::vector<std::string>& arguments)
        : process(program, arguments, [this](const std::string& line) { onLine(line); }) {}

    /// Left alone it would go on for ever.
    ~Watcher() { process.kill(); }

    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    /// Waits for a line behind the one that was waited for last.
    void waitForLine(const std::string& line) {
        std::unique_lock lock(mutex);
        const auto said = [&] { return text.find(line + "\n", passed) != std::string::npos; };
        if (!arrived.wait_for(lock, patience, said)) {
            throw std::runtime_error("the example did not say \"" + line + "\" but:\n" + text);
        }
        passed = text.find(line + "\n", passed) + line.size() + 1;
    }

    unsigned long wait() { return process.wait(); }
    /// Everything that it has said; complete after wait().
    std::string output() {
        const std::lock_guard lock(mutex);
        return text;
    }

private:
    void onLine(const std::string& line) {
        {
            const std::lock_guard lock(mutex);
            text += line + "\n";
        }
        arrived.notify_all();
    }

    std::mutex mutex;
    std::condition_variable arrived;
    std::string text;
    std::size_t passed = 0;
    /// Goes before the rest: its reader calls `onLine`.
    ChildProcess process;
};

TEST(WatchScanners, ScannerThatIsAttachedAlready_IsListedAndConnectedTo) {
    const SimulatorProcess scanner({"--baud", "0", "--serial", "FIRST"});
    const ProgramResult result = runProgram(program, {"1"});
    EXPECT_EQ(result.output, "attached: " + scanner.comPort() + " FIRST\n" +
                                 "connected: " + scanner.comPort() + " FIRST\n");
    EXPECT_EQ(result.exitStatus, 0UL);
}

TEST(WatchScanners, WithoutScanner_SaysSoAndWaitsForOne) {
    Watcher watcher({"1"});
    watcher.waitForLine("no scanner is attached");
    const SimulatorProcess scanner({"--baud", "0", "--serial", "FIRST"});
    EXPECT_EQ(watcher.wait(), 0UL);
    EXPECT_EQ(watcher.output(), "no scanner is attached\n"
                                "attached: " +
                                    scanner.comPort() + " FIRST\n" +
                                    "connected: " + scanner.comPort() + " FIRST\n");
}

TEST(WatchScanners, ConnectedScannerThatIsUnplugged_IsConnectedToAgainWhenItIsBack) {
    SimulatorProcess scanner({"--baud", "0", "--serial", "FIRST"});
    const std::string name = scanner.comPort() + " FIRST";
    Watcher watcher({"3"});
    std::string expected = "attached: " + name + "\nconnected: " + name + "\n";
    for (int round = 0; round < 2; ++round) {
        watcher.waitForLine("connected: " + name);
        scanner.unplug();
        watcher.waitForLine("detached: " + name);
        scanner.plug();
        expected += "lost: " + name + "\ndetached: " + name + "\nattached: " + name +
                    "\nconnected: " + name + "\n";
    }
    EXPECT_EQ(watcher.wait(), 0UL);
    EXPECT_EQ(watcher.output(), expected);
}

TEST(WatchScanners, SessionThatDiesWhileTheScannerStaysListed_IsOpenedAnew) {
    SimulatorProcess scanner({"--baud", "0", "--serial", "FIRST"});
    const std::string name = scanner.comPort() + " FIRST";
    Watcher watcher({"2"});
    watcher.waitForLine("connected: " + name);
    // Too quick for a look at the list.
    scanner.port().unplug();
    scanner.port().replug();
    EXPECT_EQ(watcher.wait(), 0UL);
    EXPECT_EQ(watcher.output(), "attached: " + name + "\nconnected: " + name + "\nlost: " + name +
                                    "\nconnected: " + name + "\n");
}

TEST(WatchScanners, WhenTheConnectedOneGoes_TheOtherIsConnectedTo) {
    SimulatorProcess first({"--baud", "0", "--serial", "FIRST"});
    Watcher watcher({"2"});
    watcher.waitForLine("connected: " + first.comPort() + " FIRST");
    const SimulatorProcess second({"--baud", "0", "--serial", "SECOND"});
    watcher.waitForLine("attached: " + second.comPort() + " SECOND");
    first.unplug();
    EXPECT_EQ(watcher.wait(), 0UL);
    EXPECT_EQ(watcher.output(),
              "attached: " + first.comPort() + " FIRST\n" + "connected: " + first.comPort() +
                  " FIRST\n" + "attached: " + second.comPort() + " SECOND\n" +
                  "lost: " + first.comPort() + " FIRST\n" + "detached: " + first.comPort() +
                  " FIRST\n" + "connected: " + second.comPort() + " SECOND\n");
}

TEST(WatchScanners, AnotherScannerThatComesAndGoes_LeavesTheSessionAlone) {
    SimulatorProcess first({"--baud", "0", "--serial", "FIRST"});
    Watcher watcher({"2"});
    watcher.waitForLine("connected: " + first.comPort() + " FIRST");
    SimulatorProcess second({"--baud", "0", "--serial", "SECOND"});
    watcher.waitForLine("attached: " + second.comPort() + " SECOND");
    second.unplug();
    watcher.waitForLine("detached: " + second.comPort() + " SECOND");
    first.port().unplug();
    first.port().replug();
    EXPECT_EQ(watcher.wait(), 0UL);
    EXPECT_EQ(watcher.output(),
              "attached: " + first.comPort() + " FIRST\n" + "connected: " + first.comPort() +
                  " FIRST\n" + "attached: " + second.comPort() + " SECOND\n" +
                  "detached: " + second.comPort() + " SECOND\n" + "lost: " + first.comPort() +
                  " FIRST\n" + "connected: " + first.comPort() + " FIRST\n");
}

TEST(WatchScanners, ConnectThatFails_IsReportedOnceAndTriedAgain) {
    const SimulatorProcess scanner({"--baud", "0", "--serial", "FIRST", "--fault",
                                    "GET DEVICE INFO: device-error:77:broken sensor", "--fault",
                                    "GET DEVICE INFO#2: device-error:77:broken sensor"});
    const std::string name = scanner.comPort() + " FIRST";
    const ProgramResult result = runProgram(program, {"1"});
    EXPECT_EQ(result.output, "attached: " + name + "\ncannot connect to " + scanner.comPort() +
                                 ": status 13: GET DEVICE INFO: Failed (48) with error 77. broken "
                                 "sensor\nconnected: " +
                                 name + "\n");
    EXPECT_EQ(result.exitStatus, 0UL);
}

TEST(WatchScanners, WrongArguments_ShowTheUsage) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"0"}, {"often"}, {"1", "2"}}) {
        const ProgramResult result = runProgram(program, arguments);
        EXPECT_EQ(result.output, "usage: watch-scanners [CONNECTIONS]\n");
        EXPECT_EQ(result.exitStatus, 1UL);
    }
}

/// A console for this process and those that it starts. What is pressed in it reaches them all.
class Console {
public:
    Console() {
        FreeConsole();
        if (AllocConsole() == 0) {
            throw std::runtime_error("there is no console");
        }
        SetConsoleCtrlHandler(ignore, TRUE);
    }
    ~Console() {
        SetConsoleCtrlHandler(ignore, FALSE);
        FreeConsole();
    }

    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    static void press(DWORD key) { EXPECT_NE(GenerateConsoleCtrlEvent(key, 0), 0); }

private:
    static BOOL WINAPI ignore(DWORD) { return TRUE; }
};

TEST(WatchScanners, CtrlC_EndsItWithSuccess) {
    const SimulatorProcess scanner({"--baud", "0", "--serial", "FIRST"});
    const Console console;
    const std::string name = scanner.comPort() + " FIRST";
    Watcher watcher({});
    watcher.waitForLine("connected: " + name);
    Console::press(CTRL_C_EVENT);
    EXPECT_EQ(watcher.wait(), 0UL);
    EXPECT_EQ(watcher.output(), "attached: " + name + "\nconnected: " + name + "\ninterrupted\n");
}

} // namespace
} // namespace ridge::test
