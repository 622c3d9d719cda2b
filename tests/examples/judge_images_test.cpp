#include "childprocess.h"
#include "fingerprint.h"
#include "pgmfile.h"
#include "simulatorprocess.h"
#include "temporaryfolder.h"

#include <gtest/gtest.h>

namespace ridge::test {
namespace {

const std::string program = "example-judge-images.exe";
const std::string acceptedFinger = "accepted: 150 x 200 pixels, coverage 71 %, contrast 184\n"
                                   "captured: 300 x 400 pixels, extra value 72\n";

std::string invitation(const SimulatorProcess& scanner) {
    return "put a finger on the scanner at " + scanner.comPort() + "\n";
}

/// What a scanner without a finger sees.
simulator::GreyImage emptyImage() {
    return {64, 64, std::vector<std::uint8_t>(64 * 64, 255)};
}

TEST(JudgeImages, GoodImage_IsAcceptedAndTheCaptureFollows) {
    SimulatorProcess scanner({"--baud", "0", "--seed", "1"});
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output, invitation(scanner) + acceptedFinger);
    EXPECT_EQ(result.exitStatus, 0UL);
    EXPECT_EQ(scanner.waitForReport("HOST ASSISTED CAPTURE RESULT"),
              "HOST ASSISTED CAPTURE RESULT: accepted");
}

TEST(JudgeImages, EmptyImage_IsRejectedAndTheNextOneJudged) {
    const TemporaryFolder folder;
    writePgm(folder / "empty.pgm", emptyImage());
    writePgm(folder / "good.pgm", simulator::generateFingerprint({.seed = 1, .pattern = {}}));
    SimulatorProcess scanner({"--baud", "0", "--image", (folder / "empty.pgm").string(), "--image",
                              (folder / "good.pgm").string()});
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output, invitation(scanner) +
                                 "rejected: 32 x 32 pixels, coverage 0 %, contrast 0\n" +
                                 "accepted: 150 x 200 pixels, coverage 72 %, contrast 183\n"
                                 "captured: 300 x 400 pixels, extra value 72\n");
    EXPECT_EQ(result.exitStatus, 0UL);
    EXPECT_EQ(scanner.waitForReport("HOST ASSISTED CAPTURE RESULT"),
              "HOST ASSISTED CAPTURE RESULT: rejected");
    EXPECT_EQ(scanner.waitForReport("HOST ASSISTED CAPTURE RESULT"),
              "HOST ASSISTED CAPTURE RESULT: accepted");
}

TEST(JudgeImages, FingerThatCoversTooLittle_IsRejected) {
    const TemporaryFolder folder;
    // Four of the sixteen squares of the image that is shown have a dark pixel on white.
    simulator::GreyImage image = emptyImage();
    for (const std::size_t corner : {0U, 16U, 32U, 48U}) {
        for (const std::size_t pixel : {corner, corner + 1, corner + 64, corner + 65}) {
            image.pixels[pixel] = 55;
        }
    }
    writePgm(folder / "small.pgm", image);
    SimulatorProcess scanner({"--baud", "0", "--image", (folder / "small.pgm").string()});
    const ProgramResult result = runProgram(program, {"1"});
    EXPECT_EQ(result.output, invitation(scanner) +
                                 "rejected: 32 x 32 pixels, coverage 25 %, contrast 200\n"
                                 "no image was good enough\n");
}

TEST(JudgeImages, RidgesThatAreTooPale_AreRejected) {
    const TemporaryFolder folder;
    simulator::GreyImage image = emptyImage();
    for (std::size_t pixel = 0; pixel < image.pixels.size(); ++pixel) {
        image.pixels[pixel] = pixel % 8 < 4 ? 255 : 156;
    }
    writePgm(folder / "pale.pgm", image);
    SimulatorProcess scanner({"--baud", "0", "--image", (folder / "pale.pgm").string()});
    const ProgramResult result = runProgram(program, {"1"});
    EXPECT_EQ(result.output, invitation(scanner) +
                                 "rejected: 32 x 32 pixels, coverage 100 %, contrast 99\n"
                                 "no image was good enough\n");
}

TEST(JudgeImages, OnlyEmptyImages_GivesUpAfterTheGivenNumberAndStopsTheScanner) {
    const TemporaryFolder folder;
    writePgm(folder / "empty.pgm", emptyImage());
    SimulatorProcess scanner({"--baud", "0", "--image", (folder / "empty.pgm").string()});
    const ProgramResult result = runProgram(program, {"3"});
    const std::string rejected = "rejected: 32 x 32 pixels, coverage 0 %, contrast 0\n";
    EXPECT_EQ(result.output,
              invitation(scanner) + rejected + rejected + rejected + "no image was good enough\n");
    EXPECT_EQ(result.exitStatus, 1UL);
    EXPECT_EQ(scanner.waitForReport("STOP CAPTURE"), "STOP CAPTURE");
}

TEST(JudgeImages, ImageThatMakesNoSense_IsRejectedAndTheNextOneJudged) {
    const SimulatorProcess scanner(
        {"--baud", "0", "--fault", "GET STREAM DATA/block: short-block:20"});
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output, invitation(scanner) + "rejected: Invalid capture data\n" +
                                 "accepted: 150 x 200 pixels, coverage 70 %, contrast 183\n"
                                 "captured: 300 x 400 pixels, extra value 69\n");
    EXPECT_EQ(result.exitStatus, 0UL);
}

TEST(JudgeImages, OnlyImagesThatMakeNoSense_GivesUp) {
    const SimulatorProcess scanner(
        {"--baud", "0", "--fault", "GET STREAM DATA/block: short-block:20 always"});
    const ProgramResult result = runProgram(program, {"2"});
    EXPECT_EQ(result.output, invitation(scanner) + "rejected: Invalid capture data\n" +
                                 "rejected: Invalid capture data\nno image was good enough\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(JudgeImages, DataThatEndTheCapture_AreNotTakenForAnImage) {
    const SimulatorProcess scanner(
        {"--baud", "0", "--fault", "GET STREAM DATA/block: short-block:10"});
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output,
              invitation(scanner) +
                  "the capture has failed: status 10: Invalid stream data length 10\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(JudgeImages, WithoutFinger_EndsAfterTheGivenTime) {
    SimulatorProcess scanner({"--baud", "0", "--finger-delay", "never"});
    const ProgramResult result = runProgram(program, {"20", "1"});
    EXPECT_EQ(result.output, invitation(scanner) + "no image within 1 s\n");
    EXPECT_EQ(result.exitStatus, 1UL);
    EXPECT_EQ(scanner.waitForReport("STOP CAPTURE"), "STOP CAPTURE");
}

TEST(JudgeImages, ScannerThatRefusesTheCapture_ShowsItsReason) {
    const SimulatorProcess scanner(
        {"--baud", "0", "--fault", "HOST ASSISTED CAPTURE START: device-error:77:broken sensor"});
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output, invitation(scanner) +
                                 "the capture has failed: status 13: HOST ASSISTED CAPTURE START: "
                                 "Failed (23) with error 77. broken sensor\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(JudgeImages, AcceptedImageThatDoesNotCome_IsAFailure) {
    const SimulatorProcess scanner(
        {"--baud", "0", "--seed", "1", "--fault", "GET CAPTURE DATA: device-error:9"});
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output, invitation(scanner) +
                                 "accepted: 150 x 200 pixels, coverage 71 %, contrast 184\n"
                                 "the capture has failed: status 7: Capture timeout\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(JudgeImages, WithoutScanner_SaysSo) {
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output, "no scanner is attached\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(JudgeImages, WrongArguments_ShowTheUsage) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"0"}, {"3", "0"}, {"3", "3601"}, {"3", "1", "2"}}) {
        const ProgramResult result = runProgram(program, arguments);
        EXPECT_EQ(result.output, "usage: judge-images [REJECTIONS [SECONDS, 1 to 3600]]\n");
        EXPECT_EQ(result.exitStatus, 1UL);
    }
}

} // namespace
} // namespace ridge::test
