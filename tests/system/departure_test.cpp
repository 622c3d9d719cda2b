// Hosts that end, or unload the library, without taking leave.

#include "childprocess.h"
#include "simulatorprocess.h"
#include "smallpicture.h"
#include "testextent.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace ridge::test {
namespace {

struct Departure {
    std::string moment;
    std::string way;
    std::string lastLine;
};

void PrintTo(const Departure& departure, std::ostream* stream) {
    *stream << departure.moment << ", " << departure.way;
}

class HostThatLeaves : public testing::TestWithParam<Departure> {};

TEST_P(HostThatLeaves, EndsWell) {
    SimulatorProcess scanner({"--baud", "0", "--image", smallPicture()});
    for (int round = testExtent(2, 50); round > 0; --round) {
        const ProgramResult host = runProgram(
            "departing-host.exe", {scanner.portName(), GetParam().moment, GetParam().way});
        EXPECT_EQ(host.exitStatus, 0U);
        EXPECT_EQ(host.output, GetParam().lastLine + "\n");
        // What was under way when the host left must not meet the next one.
        scanner.unplug();
        scanner.plug();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Departures, HostThatLeaves,
    testing::Values(Departure{"connected", "return", "leaving by return"},
                    Departure{"connected", "exit", "leaving by exit"},
                    Departure{"connected", "exit-process", "leaving by exit-process"},
                    Departure{"streaming", "return", "leaving by return"},
                    Departure{"streaming", "exit", "leaving by exit"},
                    Departure{"streaming", "exit-process", "leaving by exit-process"},
                    Departure{"stopped", "return", "leaving by return"},
                    Departure{"stopped", "exit", "leaving by exit"},
                    Departure{"stopped", "exit-process", "leaving by exit-process"},
                    // A library that has called back stays: its thread may still be returning.
                    Departure{"streaming", "free-library", "leaving, loaded"},
                    Departure{"stopped", "free-library", "leaving, loaded"},
                    Departure{"freed", "free-library", "leaving, loaded"},
                    Departure{"disconnected", "free-library", "leaving, unloaded"}));

} // namespace
} // namespace ridge::test
