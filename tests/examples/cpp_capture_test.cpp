#include "childprocess.h"
#include "simulatorprocess.h"
#include "temporaryfolder.h"

#include <gtest/gtest.h>

namespace ridge::test {
namespace {

const std::string program = "example-cpp-capture.exe";

TEST(CppCaptureExample, LeavesAPicture) {
    const SimulatorProcess scanner({"--baud", "0"});
    const TemporaryFolder folder;
    const std::string file = (folder / "finger.pgm").string();
    const ProgramResult result = runProgram(program, {file});
    EXPECT_EQ(result.output, "put a finger on the scanner at " + scanner.comPort() + "\n" + file +
                                 ": 300 x 400 pixels\n");
    EXPECT_EQ(result.exitStatus, 0UL);
    const std::string header = "P5 300 400 255\n";
    const std::string picture = readFile(folder / "finger.pgm");
    EXPECT_EQ(picture.substr(0, header.size()), header);
    EXPECT_EQ(picture.size(), header.size() + 120000U);
}

TEST(CppCaptureExample, WithoutScanner_SaysSo) {
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output, "no scanner is attached\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(CppCaptureExample, ScannerThatReportsNoFinger_SaysSo) {
    // The scanner's own time-out, without the fifteen seconds.
    const SimulatorProcess scanner({"--baud", "0", "--fault", "GET CAPTURE DATA: device-error:9"});
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output,
              "put a finger on the scanner at " + scanner.comPort() + "\nno finger came\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(CppCaptureExample, PortThatTakesNoBytes_IsNotTakenForAMissingFinger) {
    SimulatorProcess scanner({"--baud", "0"});
    scanner.port().holdWrites();
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output, "Timeout writing to device port\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(CppCaptureExample, ScannerThatFails_ShowsTheLibrarysText) {
    const SimulatorProcess scanner(
        {"--baud", "0", "--fault", "START CAPTURE: device-error:77:broken sensor"});
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output, "put a finger on the scanner at " + scanner.comPort() +
                                 "\nSTART CAPTURE: Failed (16) with error 77. broken sensor\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(CppCaptureExample, FileThatCannotBeWritten_IsNamed) {
    const SimulatorProcess scanner({"--baud", "0"});
    const TemporaryFolder folder;
    const std::string file = (folder / "missing").string() + "/finger.pgm";
    const ProgramResult result = runProgram(program, {file});
    EXPECT_EQ(result.output, "put a finger on the scanner at " + scanner.comPort() +
                                 "\ncannot write " + file + "\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

} // namespace
} // namespace ridge::test
