// Each scenario with the cable pulled at the end of each frame, and a byte before and after it.

#include "session.h"
#include "smallpicture.h"
#include "specifiedfailures.h"
#include "systemtext.h"
#include "testextent.h"

#include <gtest/gtest.h>

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

constexpr std::size_t hostCount = 8;

/// One way through one scenario.
struct UnplugWalk {
    const Scenario* scenario;
    const char* direction;
};

/// What the port says of its end, or, while it is being opened, the system alone.
bool isFailureOfThePort(const std::string& text) {
    static const std::regex beginning(
        "((Serial port error( detected)?\\. (Failed to wait (for|on) port event|"
        "Failed to read data from port)|Error (writing to device port|clearing port|"
        "reading port settings|updating port settings|updating port timeouts|"
        "setting port mask))\\. )?");
    for (const DWORD error : std::initializer_list<DWORD>{
             ERROR_FILE_NOT_FOUND, ERROR_OPERATION_ABORTED, ERROR_DEVICE_NOT_CONNECTED}) {
        const std::string reason = systemText(error);
        if (text.ends_with(reason)) {
            return std::regex_match(text.substr(0, text.size() - reason.size()), beginning);
        }
    }
    return false;
}

/// Whether a host may hear this of a line that dies. The operation's name stands in front.
bool isEndOfTheLine(const ReceivedFailure& failure) {
    const std::string text = failure.message.substr(failure.message.find(": ") + 2);
    switch (failure.status) {
    case RIDGE_SERIAL_PORT_ERROR:
        return isFailureOfThePort(text);
    case RIDGE_NOT_CONNECTED:
        return text == "Not connected.";
    default:
        return isTimeout({failure.status, text});
    }
}

/// A scanner, and the hosts that it is taken from one after the other.
class UnpluggedHosts {
public:
    /// Until the scenario ends before the place. Returns how often the cable was pulled.
    std::size_t walk(const UnplugWalk& way) {
        std::size_t failures = 0;
        // The first and the last frames matter most; the many in between look alike.
        const std::uint32_t step = testExtent<std::uint32_t>(4, 1);
        for (std::uint32_t frame = 0;; frame += step) {
            std::size_t failed = 0;
            for (const int bytes : {-1, 0, 1}) {
                failed += frame + static_cast<std::uint32_t>(bytes + 1) != 0 &&
                                  failsWhenUnplugged(way, frame, bytes)
                              ? 1U
                              : 0U;
            }
            if (failed == 0) {
                return failures;
            }
            failures += failed;
        }
    }

private:
    bool failsWhenUnplugged(const UnplugWalk& way, std::uint32_t frame, int bytes) {
        const std::string place =
            std::string(way.direction) + " " + std::to_string(frame) + " " + std::to_string(bytes);
        SCOPED_TRACE(way.scenario->name + ", unplugged at " + place);
        plugAnew();
        Session session(scanner);
        if (way.scenario->connected) {
            EXPECT_TRUE(session.connect()) << session.client().lastError();
        }
        scanner.command("unplug-at " + place);
        scanner.waitForReport("will be unplugged");
        way.scenario->run(session);
        for (const std::string& mistake : session.mistakesSoFar()) {
            ADD_FAILURE() << mistake;
        }
        for (const ReceivedFailure& failure : session.failuresSoFar()) {
            EXPECT_TRUE(isEndOfTheLine(failure)) << testing::PrintToString(failure);
        }
        expectUsable();
        return !session.failuresSoFar().empty();
    }

    void plugAnew() {
        scanner.unplug();
        scanner.plug();
    }

    void expectUsable() {
        plugAnew();
        Session session(scanner);
        EXPECT_TRUE(session.connect()) << session.client().lastError();
    }

    SimulatorProcess scanner{{"--baud", "0", "--finger-delay", "0", "--image", smallPicture()}};
};

TEST(Unplugged, AtAnyFrame_EndsWithAFailureOfThePortOrATimeout) {
    std::vector<UnplugWalk> ways;
    for (const Scenario& scenario : scenarios()) {
        for (const char* direction : {"to-host", "from-host"}) {
            ways.push_back({&scenario, direction});
        }
    }
    std::atomic<std::size_t> next{0};
    std::atomic<std::size_t> pulled{0};
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < hostCount; ++number) {
        threads.emplace_back([&] {
            UnpluggedHosts hosts;
            for (std::size_t index = next++; index < ways.size(); index = next++) {
                const std::size_t failures = hosts.walk(ways[index]);
                EXPECT_GT(failures, 0U)
                    << ways[index].scenario->name << ", " << ways[index].direction;
                pulled += failures;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::cout << pulled << " scenarios lost their scanner\n";
}

} // namespace
} // namespace ridge::test
