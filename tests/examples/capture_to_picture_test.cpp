#include "childprocess.h"
#include "fingerprint.h"
#include "imagefile.h"
#include "pgmfile.h"
#include "simulatorprocess.h"
#include "temporaryfolder.h"

#include <gtest/gtest.h>

namespace ridge::test {
namespace {

const std::string program = "example-capture-to-picture.exe";

std::string invitation(const SimulatorProcess& scanner) {
    return "put a finger on the scanner at " + scanner.comPort() + "\n";
}

TEST(CaptureToPicture, SavesTheScannersPicturePixelByPixel) {
    const SimulatorProcess scanner({"--baud", "0", "--seed", "5"});
    const TemporaryFolder folder;
    const std::string file = (folder / "finger.bmp").string();
    const ProgramResult result = runProgram(program, {file});
    EXPECT_EQ(result.output, invitation(scanner) + file + ": 300 x 400 pixels\n");
    EXPECT_EQ(result.exitStatus, 0UL);
    EXPECT_TRUE(simulator::readImageFile(file) ==
                simulator::generateFingerprint({.seed = 5, .pattern = {}}));
}

TEST(CaptureToPicture, RowsAreWrittenFromTheBottomAndFilledToFourBytes) {
    const TemporaryFolder folder;
    writePgm(folder / "shown.pgm", {5, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}});
    const SimulatorProcess scanner({"--baud", "0", "--image", (folder / "shown.pgm").string()});
    const std::string file = (folder / "small.bmp").string();
    const ProgramResult result = runProgram(program, {file});
    EXPECT_EQ(result.output, invitation(scanner) + file + ": 5 x 3 pixels\n");
    const std::string picture = readFile(folder / "small.bmp");
    using namespace std::string_literals;
    EXPECT_EQ(picture.substr(0, 54), "BM\x4E\x04\0\0\0\0\0\0\x36\x04\0\0"
                                     "\x28\0\0\0\x05\0\0\0\x03\0\0\0\x01\0\x08\0"
                                     "\0\0\0\0\x18\0\0\0\0\0\0\0\0\0\0\0\0\x01\0\0\0\0\0\0"s);
    std::string palette;
    for (int level = 0; level < 256; ++level) {
        palette += std::string(3, static_cast<char>(level)) + '\0';
    }
    EXPECT_EQ(picture.substr(54, 1024), palette);
    EXPECT_EQ(picture.substr(1078), "\x0B\x0C\x0D\x0E\x0F\0\0\0"
                                    "\x06\x07\x08\x09\x0A\0\0\0"
                                    "\x01\x02\x03\x04\x05\0\0\0"s);
}

TEST(CaptureToPicture, WithoutScanner_SaysSo) {
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output, "no scanner is attached\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(CaptureToPicture, WithoutFinger_EndsAfterTheGivenTimeAndLeavesNoFile) {
    const SimulatorProcess scanner({"--baud", "0", "--finger-delay", "never"});
    const TemporaryFolder folder;
    const ProgramResult result = runProgram(program, {(folder / "finger.bmp").string(), "1"});
    EXPECT_EQ(result.output, invitation(scanner) + "no image: status 7: Capture timeout\n");
    EXPECT_EQ(result.exitStatus, 1UL);
    EXPECT_EQ(folder.entries(), 0U);
}

TEST(CaptureToPicture, ScannerThatRefusesItsConnect_IsNamed) {
    const SimulatorProcess scanner(
        {"--baud", "0", "--fault", "GET DEVICE INFO: device-error:77:broken sensor"});
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output, "cannot connect to " + scanner.comPort() +
                                 ": status 13: GET DEVICE INFO: Failed (48) with error 77. broken "
                                 "sensor\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(CaptureToPicture, ScannerThatRefusesTheCapture_ShowsItsReason) {
    const SimulatorProcess scanner(
        {"--baud", "0", "--fault", "START CAPTURE: device-error:77:broken sensor"});
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output,
              invitation(scanner) +
                  "no image: status 13: START CAPTURE: Failed (16) with error 77. broken sensor\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(CaptureToPicture, ScannerThatFallsSilent_EndsTheCapture) {
    const SimulatorProcess scanner(
        {"--baud", "0", "--fault", "GET CAPTURE DATA: no-answer always"});
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output,
              invitation(scanner) + "no image: status 9: Timeout checking for capture result.\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(CaptureToPicture, ScannerThatIsUnpluggedWhileItAnswers_EndsTheCapture) {
    SimulatorProcess scanner({"--baud", "0", "--finger-delay", "never"});
    scanner.command("unplug-at to-host 6 -1");
    scanner.waitForReport("will be unplugged");
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output,
              invitation(scanner) + "no image: status 9: Timeout checking for capture result.\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(CaptureToPicture, FileThatCannotBeWritten_IsNamed) {
    const SimulatorProcess scanner({"--baud", "0"});
    const TemporaryFolder folder;
    const std::string file = (folder / "missing").string() + "\\finger.bmp";
    const ProgramResult result = runProgram(program, {file});
    EXPECT_EQ(result.output, invitation(scanner) + file + ": No such file or directory\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(CaptureToPicture, WrongArguments_ShowTheUsage) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"finger.bmp", "0"}, {"finger.bmp", "31"}, {"a", "1", "b"}}) {
        const ProgramResult result = runProgram(program, arguments);
        EXPECT_EQ(result.output, "usage: capture-to-picture [PICTURE.bmp [SECONDS, 1 to 30]]\n");
        EXPECT_EQ(result.exitStatus, 1UL);
    }
}

} // namespace
} // namespace ridge::test
