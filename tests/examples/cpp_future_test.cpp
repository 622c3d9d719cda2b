#include "childprocess.h"
#include "simulatorprocess.h"

#include <gtest/gtest.h>

namespace ridge::test {
namespace {

const std::string program = "example-cpp-future.exe";

TEST(CppFutureExample, PrintsTheImagesSize) {
    const SimulatorProcess scanner({"--baud", "0"});
    const ProgramResult result = runProgram(program, {"60000"});
    EXPECT_EQ(result.output, "waiting for a finger\n300 x 400 pixels\n");
    EXPECT_EQ(result.exitStatus, 0UL);
}

TEST(CppFutureExample, NoFingerBeforeTheDeadline_CancelsTheCapture) {
    SimulatorProcess scanner({"--baud", "0", "--finger-delay", "never"});
    const ProgramResult result = runProgram(program, {"100"});
    EXPECT_EQ(result.output, "waiting for a finger\ncancelled at the deadline\n");
    EXPECT_EQ(result.exitStatus, 2UL);
    scanner.waitForReport("STOP CAPTURE");
}

TEST(CppFutureExample, WithoutScanner_SaysSo) {
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output, "no scanner is attached\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

} // namespace
} // namespace ridge::test
