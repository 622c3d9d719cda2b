#include "childprocess.h"
#include "simulatorprocess.h"
#include "smallpicture.h"
#include "testextent.h"

#include <gtest/gtest.h>

#include <string>

namespace ridge::test {
namespace {

TEST(Endurance, ManyRounds_LeaveAsManyHandlesThreadsAndBlocksAsTheFirstTen) {
    const std::string rounds = std::to_string(testExtent(60, 10000));
    const SimulatorProcess scanner(
        {"--baud", "0", "--finger-delay", "0", "--image", smallPicture()});
    const ProgramResult host = runProgram("enduring-host.exe", {scanner.portName(), rounds});
    ASSERT_EQ(host.exitStatus, 0U) << host.output;
    const std::string firstTen = host.output.substr(0, host.output.find('\n'));
    ASSERT_EQ(firstTen.substr(0, 4), "10: ");
    EXPECT_NE(firstTen.find("10: 0 handles"), 0U);
    EXPECT_EQ(host.output, firstTen + "\n" + rounds + firstTen.substr(2) + "\n");
}

} // namespace
} // namespace ridge::test
