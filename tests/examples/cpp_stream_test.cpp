#include "childprocess.h"
#include "simulatorprocess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <utility>
#include <vector>

namespace ridge::test {
namespace {

const std::string program = "example-cpp-stream.exe";

TEST(CppStreamExample, PrintsImagesUntilEnterIsPressed) {
    const SimulatorProcess scanner({"--baud", "0"});
    std::vector<std::string> lines;
    std::promise<void> secondLine;
    ChildProcess process(program, {}, [&](std::string line) {
        lines.push_back(std::move(line));
        if (lines.size() == 2) {
            secondLine.set_value();
        }
    });
    const std::future_status streaming = secondLine.get_future().wait_for(std::chrono::minutes(1));
    process.writeLine("");
    EXPECT_EQ(process.wait(), 0UL);
    EXPECT_EQ(streaming, std::future_status::ready) << testing::PrintToString(lines);
    ASSERT_GE(lines.size(), 3U);
    const std::size_t images = lines.size() - 1;
    for (std::size_t index = 0; index < images; ++index) {
        EXPECT_EQ(lines[index], "image " + std::to_string(index + 1) + ": 150 x 200 pixels");
    }
    EXPECT_EQ(lines.back(), "stopped after " + std::to_string(images) + " images");
}

TEST(CppStreamExample, StreamThatFails_SaysWhy) {
    const SimulatorProcess scanner(
        {"--baud", "0", "--fault", "STREAM START: device-error:77:broken sensor always"});
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output, "STREAM START: Failed (19) with error 77. broken sensor\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

TEST(CppStreamExample, WithoutScanner_SaysSo) {
    const ProgramResult result = runProgram(program, {});
    EXPECT_EQ(result.output, "no scanner is attached\n");
    EXPECT_EQ(result.exitStatus, 1UL);
}

} // namespace
} // namespace ridge::test
