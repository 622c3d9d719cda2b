// The self-test of the command-line program, with simulated scanners that work and that do not.

#include "childprocess.h"
#include "simulatorprocess.h"
#include "temporaryfolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>

namespace ridge::test {
namespace {

struct SelfTest {
    ProgramResult program;
    std::string report;
};

SelfTest runSelfTest(const std::vector<std::string>& options) {
    const TemporaryFolder folder;
    std::vector<std::string> arguments{"selftest", "--yes", "-o", folder.file("report.md")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    SelfTest result{runProgram("ridge.exe", arguments), ""};
    std::ifstream file(folder.file("report.md"), std::ios::binary);
    result.report.assign(std::istreambuf_iterator<char>(file), {});
    return result;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// The lines of the report's table of checks that say "failed", without their durations.
std::vector<std::string> failedChecks(const std::string& report) {
    const std::regex line(R"(\| ([^|]+) \| failed \| [^|]+ \| ([^\n]*) \|\n)");
    std::vector<std::string> checks;
    for (std::sregex_iterator match(report.begin(), report.end(), line);
         match != std::sregex_iterator(); ++match) {
        checks.push_back((*match)[1].str() + ": " + (*match)[2].str());
    }
    return checks;
}

using Checks = std::vector<std::string>;

} // namespace

TEST(SelfTest, WithAWorkingScanner_PassesWithAllOptions) {
    SimulatorProcess scanner({"--baud", "0", "--serial", "RS-000123"});
    const TemporaryFolder folder;
    std::string output;
    ChildProcess program("ridge.exe",
                         {"selftest", "--yes", "--with-unplugging", "--with-security", "-o",
                          folder.file("report.md")},
                         [&](const std::string& line) {
                             output += line + "\n";
                             if (contains(line, "Pull the scanner's cable out.")) {
                                 scanner.command("unplug");
                             } else if (contains(line, "Plug the cable in again.")) {
                                 scanner.command("plug");
                             }
                         });
    EXPECT_EQ(program.wait(), 0UL) << output;
    EXPECT_TRUE(contains(output, "\n20 passed, 0 failed, 0 skipped\n")) << output;
}

TEST(SelfTest, Report_TellsVersionsAndHoldsTheLog) {
    SimulatorProcess scanner({"--baud", "0", "--serial", "RS-000123"});
    const SelfTest test = runSelfTest({"--port", scanner.portName()});
    EXPECT_EQ(test.program.exitStatus, 0UL) << test.program.output;
    for (const auto* text :
         {"14 passed, 0 failed, 6 skipped\n", "| ridge | 1.", "| ridge-sdk | 1.",
          "| System | Windows ", "| Serial number | RS-000123 |", "| Text 3 | 2.4.1 |",
          "| Capture | passed | ", " s | 300 x 400 pixels, 120000 bytes |\n",
          "] Device port initialized\n", "] Start stream\n"}) {
        EXPECT_TRUE(contains(test.report, text)) << text << "\n" << test.report;
    }
}

TEST(SelfTest, WrongImagesAndRefusedCommands_FailTheirChecksAlone) {
    SimulatorProcess scanner({"--baud", "0", "--fault",
                              "STREAM START: device-error:77:broken always", "--fault",
                              "SET KEY: no-answer always"});
    const SelfTest test = runSelfTest({"--port", scanner.portName(), "--with-security"});
    EXPECT_EQ(test.program.exitStatus, 2UL) << test.program.output;
    EXPECT_EQ(failedChecks(test.report),
              (Checks{"Stream: waiting for image 1: STREAM START: Failed (19) with error 77. "
                      "broken (status 13)",
                      "Device key: setting the device key: Timeout setting device key. (status "
                      "9)"}));
    EXPECT_TRUE(contains(test.report, "\n17 passed, 2 failed, 1 skipped\n")) << test.report;
}

TEST(SelfTest, BytesOfASpoiltImage_AreNotInTheReport) {
    SimulatorProcess scanner({"--baud", "0", "--fault", "GET CAPTURE DATA/data#2: wrong-checksum"});
    const SelfTest test = runSelfTest({"--port", scanner.portName()});
    EXPECT_EQ(test.program.exitStatus, 2UL) << test.program.output;
    EXPECT_EQ(failedChecks(test.report),
              Checks{"Capture: waiting for a finger: Timeout checking for capture result. (status "
                     "9)"});
    EXPECT_TRUE(contains(test.report, "] Received invalid packet of size ")) << test.report;
    EXPECT_TRUE(contains(test.report, "] Data: (left out)\n")) << test.report;
    EXPECT_FALSE(std::regex_search(test.report, std::regex("[0-9a-f]{2}:[0-9a-f]{2}:[0-9a-f]{2}:")))
        << test.report;
}

TEST(SelfTest, NoScanner_EndsWithTwoAndAReport) {
    const SelfTest test = runSelfTest({});
    EXPECT_EQ(test.program.exitStatus, 2UL) << test.program.output;
    EXPECT_EQ(failedChecks(test.report), Checks{"Discovery: no scanner is attached"});
}

} // namespace ridge::test
