#include "childprocess.h"
#include "simulatorprocess.h"
#include "smallpicture.h"
#include "testextent.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

namespace ridge::test {
namespace {

/// The text behind "ROUND: " in the line at that place.
std::string lineAt(std::istringstream& lines, const std::string& round) {
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line.substr(0, round.size() + 2), round + ": ");
    return line.substr(std::min(line.size(), round.size() + 2));
}

TEST(Endurance, ManyRounds_LeaveAsManyHandlesThreadsBlocksAndBytesAsTheFirstTen) {
    const std::string rounds = std::to_string(testExtent(60, 10000));
    const SimulatorProcess scanner(
        {"--baud", "0", "--finger-delay", "0", "--image", smallPicture()});
    const ProgramResult host = runProgram("enduring-host.exe", {scanner.portName(), rounds});
    ASSERT_EQ(host.exitStatus, 0U) << host.output;
    std::istringstream lines(host.output);
    const int eventsOfTen = std::stoi(lineAt(lines, "10"));
    const std::string holdingsOfTen = lineAt(lines, "10");
    const int eventsOfAll = std::stoi(lineAt(lines, rounds));
    EXPECT_EQ(lineAt(lines, rounds), holdingsOfTen);
    // A lock of the runtime, for the whole process, makes an event for itself when two threads meet
    // at it for the first time, and keeps it.
    constexpr int locksOfTheProcess = 4;
    EXPECT_GE(eventsOfTen, 1);
    EXPECT_LE(eventsOfAll, eventsOfTen + locksOfTheProcess) << host.output;
}

} // namespace
} // namespace ridge::test
