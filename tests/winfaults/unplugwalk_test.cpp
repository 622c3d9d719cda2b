// Each scenario with the cable pulled at the end of each frame, and a byte before and after it.

#include "concurrentattempts.h"
#include "operationfailures.h"
#include "session.h"
#include "smallpicture.h"
#include "systemtext.h"
#include "testextent.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iostream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <windows.h>

namespace ridge::test {
namespace {

constexpr std::size_t hostCount = 12;

/// One way through one scenario.
struct UnplugWalk {
    const Scenario* scenario;
    const char* direction;
};

/// Where on the line.
struct Place {
    const char* direction;
    std::uint32_t frame;
    /// Behind the frame's end.
    int bytes;
};

/// As the scanner takes it.
std::string textOf(const Place& place) {
    return std::string(place.direction) + " " + std::to_string(place.frame) + " " +
           std::to_string(place.bytes);
}

bool isConnect(const std::string& operation) {
    return operation == "ridgeConnect" || operation == "ridgeConnectCOM";
}

/// Whether the operation can say this in front of the system's text: a connect of the port's being
/// opened, where the system's text may stand alone; each that writes of that; each that looks of
/// the port's own end.
bool isFailureOfThePort(const std::string& operation, const std::string& text) {
    static const std::regex opening("(Error (clearing port|reading port settings|updating port "
                                    "settings|updating port timeouts|setting port mask)\\. )?");
    static const std::regex ending(
        "Failed to wait (for|on) port event\\. |Failed to read data from port\\. ");
    if (text == "Error writing to device port. ") {
        return sendsCommands(operation);
    }
    if (isConnect(operation)) {
        return std::regex_match(text, opening);
    }
    const std::string_view report = failedPortReport(operation);
    return !report.empty() && text.starts_with(report) &&
           std::regex_match(text.substr(report.size()), ending);
}

bool isFailureOfThePort(const OperationFailure& failure) {
    const std::string& text = failure.failure.message;
    for (const DWORD error : std::initializer_list<DWORD>{
             ERROR_FILE_NOT_FOUND, ERROR_OPERATION_ABORTED, ERROR_DEVICE_NOT_CONNECTED}) {
        const std::string reason = systemText(error);
        if (text.ends_with(reason)) {
            return isFailureOfThePort(failure.operation,
                                      text.substr(0, text.size() - reason.size()));
        }
    }
    return false;
}

/// Whether a host may hear this of a line that dies. That there is no session any more, it hears
/// only after the port's own failure.
bool isEndOfTheLine(const OperationFailure& failure, bool portHasFailed) {
    const auto& [status, text] = failure.failure;
    switch (status) {
    case RIDGE_SERIAL_PORT_ERROR:
        return isFailureOfThePort(failure);
    case RIDGE_NO_RESPONSE:
        return isTimeoutOf(failure.operation, text);
    case RIDGE_NOT_CONNECTED:
        return portHasFailed && text == "Not connected.";
    default:
        return false;
    }
}

/// A scanner, and the hosts that it is taken from one after the other.
class UnpluggedHosts {
public:
    explicit UnpluggedHosts(ConcurrentAttempts& beside) : attempts(beside) {}

    /// From the first frame to the last. Returns how often the cable was pulled.
    std::size_t walk(const UnplugWalk& way) {
        const std::vector<std::string> everything = untouched(*way.scenario);
        // The first and the last frames matter most; the many in between look alike.
        const std::uint32_t wideStep = testExtent<std::uint32_t>(4, 1);
        constexpr std::uint32_t firstFrames = 3;
        std::size_t pulled = 0;
        std::uint32_t frame = 0;
        std::uint32_t step = 1;
        bool nearEnd = false;
        while (true) {
            const std::size_t pulledHere = pullAround(way, frame, everything);
            pulled += pulledHere;
            if (pulledHere != 0) {
                step = nearEnd || frame < firstFrames ? 1 : wideStep;
                frame += step;
            } else if (step > 1) {
                // Back to what was stepped over.
                frame -= step - 1;
                step = 1;
                nearEnd = true;
            } else {
                return pulled;
            }
        }
    }

private:
    struct Outcome {
        bool pulled = false;
        std::vector<std::string> received;
        /// An answer came too late from a scanner whose cable was in its place.
        bool late = false;

        [[nodiscard]] bool isLate() const { return late; }
    };

    std::size_t pullAround(const UnplugWalk& way, std::uint32_t frame,
                           const std::vector<std::string>& everything) {
        const auto pull = [&](int bytes) {
            return isPulled(*way.scenario, {way.direction, frame, bytes}, everything) ? 1U : 0U;
        };
        if (frame == 0) {
            return pull(0) + pull(1);
        }
        if (testExtent(false, true)) {
            return pull(-1) + pull(0) + pull(1);
        }
        // In turn. No byte follows the last frame.
        switch (frame % 3) {
        case 0:
            return pull(-1);
        case 1:
            return pull(0);
        default:
            return pull(1) != 0 ? 1 : pull(0);
        }
    }

    bool isPulled(const Scenario& scenario, const Place& place,
                  const std::vector<std::string>& everything) {
        SCOPED_TRACE(scenario.name + ", unplugged at " + textOf(place));
        const Outcome outcome = attempts.make([&] { return attempt(scenario, place, everything); });
        EXPECT_FALSE(outcome.late) << "the scanner does not answer";
        return outcome.pulled;
    }

    Outcome attempt(const Scenario& scenario, const Place& place,
                    const std::vector<std::string>& everything) {
        Outcome outcome;
        plugAnew();
        {
            Session session(scanner);
            if (scenario.connected && !isConnected(session, outcome)) {
                return outcome;
            }
            scanner.command("unplug-at " + textOf(place));
            scanner.waitForReport("will be unplugged");
            scenario.run(session);
            for (const std::string& mistake : session.mistakesSoFar()) {
                ADD_FAILURE() << mistake;
            }
            outcome.pulled = wasPulled();
            if (outcome.pulled) {
                expectEndOfTheLine(session);
            } else {
                expectNoFailure(session, outcome);
            }
            // A scanner that has gone before it is looked for is not found.
            const bool beforeAll = place.frame == 0 && place.bytes == 0;
            if (session.failuresSoFar().empty() &&
                !(beforeAll && outcome.pulled && session.receivedSoFar().empty())) {
                EXPECT_EQ(session.receivedSoFar(), everything);
            }
        }
        plugAnew();
        Session session(scanner);
        isConnected(session, outcome);
        return outcome;
    }

    static void expectEndOfTheLine(const Session& session) {
        bool portHasFailed = false;
        for (const OperationFailure& failure : session.failuresSoFar()) {
            EXPECT_TRUE(isEndOfTheLine(failure, portHasFailed)) << testing::PrintToString(failure);
            portHasFailed = portHasFailed || failure.failure.status == RIDGE_SERIAL_PORT_ERROR;
        }
    }

    /// With the cable in its place.
    static void expectNoFailure(const Session& session, Outcome& outcome) {
        const std::vector<OperationFailure>& failures = session.failuresSoFar();
        outcome.late = !failures.empty() && failures.front().failure.status == RIDGE_NO_RESPONSE &&
                       isTimeoutOf(failures.front().operation, failures.front().failure.message);
        EXPECT_TRUE(failures.empty() || outcome.late) << testing::PrintToString(failures);
    }

    /// What the host receives as long as the cable is in its place.
    std::vector<std::string> untouched(const Scenario& scenario) {
        SCOPED_TRACE(scenario.name + ", untouched");
        const Outcome outcome = attempts.make([&] { return attemptUntouched(scenario); });
        EXPECT_FALSE(outcome.late) << "the scanner does not answer";
        EXPECT_EQ(outcome.received.size(), scenario.receives);
        return outcome.received;
    }

    Outcome attemptUntouched(const Scenario& scenario) {
        Outcome outcome;
        plugAnew();
        Session session(scanner);
        if (!scenario.connected || isConnected(session, outcome)) {
            scenario.run(session);
            expectNoFailure(session, outcome);
            outcome.received = session.receivedSoFar();
        }
        return outcome;
    }

    static bool isConnected(Session& session, Outcome& outcome) {
        const std::int32_t status = session.connect();
        const bool late = status == RIDGE_NO_RESPONSE &&
                          isTimeoutOf("ridgeConnectCOM", session.client().lastError());
        EXPECT_TRUE(status == RIDGE_SUCCESS || late) << session.client().lastError();
        outcome.late = outcome.late || late;
        return status == RIDGE_SUCCESS;
    }

    /// Whether the scanner has said so, up to now.
    bool wasPulled() {
        scanner.command("report");
        bool pulled = false;
        std::string report;
        do {
            report = scanner.waitForReport("");
            pulled = pulled || report == "unplugged";
        } while (!report.starts_with("ridge-scanner: no such command"));
        return pulled;
    }

    void plugAnew() {
        scanner.unplug();
        scanner.plug();
    }

    SimulatorProcess scanner{
        {"--verbose", "--baud", "0", "--finger-delay", "0", "--image", smallPicture()}};
    ConcurrentAttempts& attempts;
};

TEST(Unplugged, AtAnyFrame_EndsWithAFailureOfThePortOrATimeout) {
    std::vector<UnplugWalk> ways;
    for (const Scenario& scenario : scenarios()) {
        for (const char* direction : {"to-host", "from-host"}) {
            ways.push_back({&scenario, direction});
        }
    }
    // The last ones take longest.
    std::reverse(ways.begin(), ways.end());
    std::atomic<std::size_t> next{0};
    std::atomic<std::size_t> pulled{0};
    ConcurrentAttempts attempts;
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < hostCount; ++number) {
        threads.emplace_back([&] {
            UnpluggedHosts hosts(attempts);
            for (std::size_t index = next++; index < ways.size(); index = next++) {
                const std::size_t pulledOnTheWay = hosts.walk(ways[index]);
                EXPECT_GT(pulledOnTheWay, 0U)
                    << ways[index].scenario->name << ", " << ways[index].direction;
                pulled += pulledOnTheWay;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::cout << "the cable was pulled " << pulled << " times; " << attempts.repeated()
              << " repeated because of a late answer\n";
}

} // namespace
} // namespace ridge::test
