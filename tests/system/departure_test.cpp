// Hosts that end, or unload the library, without taking leave.

#include "childprocess.h"
#include "simulatorprocess.h"
#include "smallpicture.h"
#include "testextent.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

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
    for (int round = testExtent(1, 20); round > 0; --round) {
        const ProgramResult host = runProgram(
            "departing-host.exe", {scanner.portName(), GetParam().moment, GetParam().way});
        EXPECT_EQ(host.exitStatus, 0U);
        EXPECT_EQ(host.output, GetParam().lastLine + "\n");
        // What was under way when the host left must not meet the next one.
        scanner.unplug();
        scanner.plug();
    }
}

Departure departure(const std::string& moment, const std::string& way) {
    if (way == "free-library") {
        // A library that has had a thread of its own running stays: it may still be returning.
        return {moment, way, moment == "disconnected" ? "leaving, unloaded" : "leaving, loaded"};
    }
    if (way == "destructor") {
        return {moment, way, "leaving by return\nreleased"};
    }
    return {moment, way, "leaving by " + way};
}

std::vector<Departure> allDepartures() {
    const std::vector<std::string> withoutContext{"freed", "disconnected"};
    const std::vector<std::string> withWorker{"capturing", "judging", "streaming", "stopped"};
    std::vector<std::string> anyMoment{"connected", "requesting"};
    anyMoment.insert(anyMoment.end(), withoutContext.begin(), withoutContext.end());
    anyMoment.insert(anyMoment.end(), withWorker.begin(), withWorker.end());
    std::vector<Departure> all;
    for (const std::string& moment : anyMoment) {
        for (const char* way : {"return", "exit", "exit-process"}) {
            all.push_back(departure(moment, way));
        }
        // With a context that nothing was started on, the library may not be unloaded.
        if (moment != "connected") {
            all.push_back(departure(moment, "free-library"));
        }
    }
    // During a signing request a context may not be freed.
    all.push_back(departure("connected", "destructor"));
    for (const std::string& moment : withWorker) {
        all.push_back(departure(moment, "destructor"));
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(Departures, HostThatLeaves, testing::ValuesIn(allDepartures()));

} // namespace
} // namespace ridge::test
