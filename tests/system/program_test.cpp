// The command-line program and the examples, as their users start them.

#include "childprocess.h"
#include "host.h"
#include "simulatorprocess.h"
#include "temporaryfolder.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>

namespace ridge::test {
namespace {

namespace fs = std::filesystem;

bool isPng(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::array<char, 8> start{};
    file.read(start.data(), start.size());
    return file && std::string(start.data(), start.size()) == "\x89PNG\r\n\x1a\n";
}

TEST(RidgeProgram, Info_ShowsWhatTheScannerSays) {
    SimulatorProcess scanner({"--baud", "0", "--serial", "RS-000123"});
    const ProgramResult result = runProgram("ridge.exe", {"info", "--port", scanner.portName()});
    EXPECT_EQ(result.exitStatus, 0UL) << result.output;
    EXPECT_NE(result.output.find("RS-000123"), std::string::npos) << result.output;
}

TEST(RidgeProgram, List_ShowsTheAttachedScanners) {
    EXPECT_EQ(runProgram("ridge.exe", {"list"}).output, "no scanner is attached\n");
    const SimulatorProcess scanner({"--serial", "A1B2C3"});
    const ProgramResult result = runProgram("ridge.exe", {"list"});
    EXPECT_EQ(result.exitStatus, 0UL) << result.output;
    EXPECT_EQ(result.output, "PORT   SERIAL NUMBER  DESCRIPTION    MANUFACTURER\n" +
                                 scanner.comPort() + "  A1B2C3         Ridge Scanner  Ridge\n");
}

TEST(RidgeProgram, Scanner_IsChosenBySerialNumberOrBecauseItIsTheOnlyOne) {
    const SimulatorProcess first({"--baud", "0", "--serial", "FIRST"});
    EXPECT_EQ(runProgram("ridge.exe", {"info"}).exitStatus, 0UL);
    const SimulatorProcess second({"--baud", "0", "--serial", "SECOND"});
    const ProgramResult chosen = runProgram("ridge.exe", {"info", "--serial", "SECOND"});
    EXPECT_EQ(chosen.exitStatus, 0UL) << chosen.output;
    EXPECT_NE(chosen.output.find("Text 2:   SECOND\n"), std::string::npos) << chosen.output;
    const ProgramResult unclear = runProgram("ridge.exe", {"info"});
    EXPECT_EQ(unclear.exitStatus, 1UL);
    EXPECT_NE(unclear.output.find("2 scanners are attached"), std::string::npos) << unclear.output;
    EXPECT_NE(unclear.output.find("  FIRST  "), std::string::npos) << unclear.output;
    EXPECT_NE(unclear.output.find("  SECOND  "), std::string::npos) << unclear.output;
}

TEST(RidgeProgram, NoScanner_EndsWithTwo) {
    const ProgramResult result = runProgram("ridge.exe", {"info"});
    EXPECT_EQ(result.exitStatus, 2UL);
    EXPECT_NE(result.output.find("no scanner is attached"), std::string::npos) << result.output;
}

TEST(RidgeProgram, Version_NamesTheScannersIdentifiers) {
    const ProgramResult result = runProgram("ridge.exe", {"--version"});
    EXPECT_NE(result.output.find("\nscanners: USB vendor 0x"), std::string::npos) << result.output;
}

TEST(RidgeProgram, Capture_LeavesAPicture) {
    SimulatorProcess scanner({"--baud", "0"});
    const TemporaryFolder folder;
    const ProgramResult result = runProgram(
        "ridge.exe", {"capture", "--port", scanner.portName(), "-o", folder.file("finger.png")});
    EXPECT_EQ(result.exitStatus, 0UL) << result.output;
    EXPECT_TRUE(isPng(folder.file("finger.png")));
}

TEST(RidgeProgram, CaptureWithoutFinger_EndsWithThreeAndLeavesNoFile) {
    SimulatorProcess scanner({"--baud", "0", "--finger-delay", "never"});
    const TemporaryFolder folder;
    const ProgramResult result =
        runProgram("ridge.exe", {"capture", "--port", scanner.portName(), "--timeout", "100", "-o",
                                 folder.file("finger.png")});
    EXPECT_EQ(result.exitStatus, 3UL) << result.output;
    EXPECT_NE(result.output.find("Capture timeout"), std::string::npos) << result.output;
    EXPECT_FALSE(fs::exists(folder.file("finger.png")));
}

TEST(RidgeProgram, HostAssistedCapture_LeavesAPicture) {
    SimulatorProcess scanner({"--baud", "0"});
    const TemporaryFolder folder;
    const ProgramResult result =
        runProgram("ridge.exe", {"capture", "--host-assisted", "--port", scanner.portName(), "-o",
                                 folder.file("finger.png")});
    EXPECT_EQ(result.exitStatus, 0UL) << result.output;
    EXPECT_TRUE(isPng(folder.file("finger.png")));
}

TEST(RidgeProgram, Stream_LeavesTheWantedNumberOfPictures) {
    SimulatorProcess scanner({"--baud", "0"});
    const TemporaryFolder folder;
    const ProgramResult result =
        runProgram("ridge.exe", {"stream", "--port", scanner.portName(), "--count", "3", "-o",
                                 folder.file("images")});
    EXPECT_EQ(result.exitStatus, 0UL) << result.output;
    EXPECT_TRUE(isPng(folder.file("images/image-0001.png")));
    EXPECT_TRUE(isPng(folder.file("images/image-0003.png")));
    EXPECT_FALSE(fs::exists(folder.file("images/image-0004.png")));
}

TEST(RidgeProgram, ShownCapture_IsDrawnWithoutEscapeSequencesWhereThereIsNoTerminal) {
    SimulatorProcess scanner({"--baud", "0"});
    const TemporaryFolder folder;
    const ProgramResult result =
        runProgram("ridge.exe", {"capture", "--port", scanner.portName(), "--show", "-o",
                                 folder.file("finger.png")});
    EXPECT_EQ(result.exitStatus, 0UL) << result.output;
    const std::regex drawnLine("[@%#*+=:. -]{40,80}");
    std::istringstream lines(result.output);
    int drawnLines = 0;
    for (std::string line; std::getline(lines, line);) {
        drawnLines += std::regex_match(line, drawnLine) ? 1 : 0;
    }
    EXPECT_GT(drawnLines, 30) << result.output;
}

TEST(RidgeProgram, Completion_PrintsAScriptForTheShell) {
    const ProgramResult result = runProgram("ridge.exe", {"completion", "bash"});
    EXPECT_EQ(result.exitStatus, 0UL) << result.output;
    EXPECT_NE(result.output.find("\ncomplete -F _ridge ridge ridge.exe\n"), std::string::npos)
        << result.output;
}

TEST(RidgeProgram, SettingsThatAreWritten_AreShownFromANewConnection) {
    SimulatorProcess scanner({"--baud", "0"});
    const ProgramResult result =
        runProgram("ridge.exe", {"--json", "settings", "--port", scanner.portName(), "--rotation",
                                 "2", "--option", "1"});
    EXPECT_EQ(result.exitStatus, 0UL) << result.output;
    EXPECT_NE(result.output.find("\"rotation\":2"), std::string::npos) << result.output;
}

TEST(RidgeProgram, LogLines_AreShownOnRequest) {
    SimulatorProcess scanner({"--baud", "0"});
    const ProgramResult result =
        runProgram("ridge.exe", {"--log", "info", "info", "--port", scanner.portName()});
    EXPECT_EQ(result.exitStatus, 0UL) << result.output;
    EXPECT_NE(result.output.find("Device port initialized"), std::string::npos) << result.output;
}

TEST(RidgeProgram, PortThatDoesNotExist_EndsWithTwo) {
    const ProgramResult result = runProgram("ridge.exe", {"info", "--port", "COM199"});
    EXPECT_EQ(result.exitStatus, 2UL) << result.output;
}

TEST(RidgeProgram, WrongOption_EndsWithOne) {
    EXPECT_EQ(runProgram("ridge.exe", {"capture", "--no-such-option"}).exitStatus, 1UL);
}

TEST(Examples, Capture_WithoutScanner_SaysSo) {
    EXPECT_EQ(runProgram("example-capture.exe", {}).output, "no scanner is attached\n");
}

TEST(Examples, Capture_PrintsTheImagesSize) {
    const SimulatorProcess scanner({"--baud", "0"});
    const ProgramResult result = runProgram("example-capture.exe", {});
    EXPECT_EQ(result.exitStatus, 0UL) << result.output;
    EXPECT_EQ(result.output, "300 x 400 pixels, 120000 bytes\n");
}

TEST(RidgeScanner, WrongFault_EndsWithTwoAndSaysWhatIsWrong) {
    const ProgramResult result =
        runProgram("ridge-scanner.exe", {"--virtual", "COM19", "--fault", "PING: explode"});
    EXPECT_EQ(result.exitStatus, 2UL);
    EXPECT_NE(result.output.find("unknown fault \"explode\""), std::string::npos) << result.output;
}

TEST(RidgeScanner, SerialNumberThatNoDeviceCanHave_IsRefused) {
    for (const std::string& serialNumber :
         {std::string("A&B"), std::string("A\\B"), std::string("A,B"), std::string("A B"),
          std::string(101, 'A')}) {
        const ProgramResult result =
            runProgram("ridge-scanner.exe", {"--virtual", "COM19", "--serial", serialNumber});
        EXPECT_NE(result.exitStatus, 0UL);
        EXPECT_NE(result.output.find("takes 1 to 100 visible characters but none of \\ & ,"),
                  std::string::npos)
            << result.output;
    }
}

TEST(RidgeScanner, UnknownCommand_IsNamed) {
    SimulatorProcess scanner;
    scanner.command("jump");
    EXPECT_EQ(scanner.waitForReport("ridge-scanner:"),
              "ridge-scanner: no such command: \"jump\"; with --virtual there are \"unplug\", "
              "\"unplug-at\" and \"plug\"");
}

TEST(RidgeScanner, PlaceToUnplugAtThatIsNone_IsNamed) {
    SimulatorProcess scanner;
    scanner.command("unplug-at home");
    EXPECT_EQ(scanner.waitForReport("ridge-scanner:"),
              "ridge-scanner: \"home\" is no place on the line, such as \"to-host 3 -1\": "
              "to-host or from-host, a frame, and bytes from -1 on");
}

TEST(RidgeScanner, UnplugAt_LetsTheBytesBeforeThePlaceReachTheHost) {
    SimulatorProcess scanner({"--baud", "0"});
    Host host;
    ASSERT_EQ(host.connect(scanner.portName()), RIDGE_SUCCESS) << host.lastError();
    scanner.command("unplug-at to-host 1 0");
    scanner.waitForReport("will be unplugged");
    const ridgeDeviceSettings settings{0, 0};
    EXPECT_EQ(ridgeSettingsSet(host.context(), &settings), RIDGE_SUCCESS) << host.lastError();
    scanner.waitForReport("unplugged");
    EXPECT_NE(ridgeSettingsSet(host.context(), &settings), RIDGE_SUCCESS);
}

TEST(RidgeScanner, WhatIsNoNumber_IsRefusedWithAWordOnWhatWouldBe) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> wrong{
        {{"--virtual", "COM0"}, "takes COM1 to COM255"},
        {{"--virtual", "COM256"}, "takes COM1 to COM255"},
        {{"--virtual", "COM7x"}, "takes COM1 to COM255"},
        {{"--virtual", "COM7", "--finger-delay", "soon"}, "takes milliseconds or never"}};
    for (const auto& [options, text] : wrong) {
        const ProgramResult result = runProgram("ridge-scanner.exe", options);
        EXPECT_NE(result.exitStatus, 0UL);
        EXPECT_NE(result.output.find(text), std::string::npos) << result.output;
    }
}

} // namespace
} // namespace ridge::test
