#include "logline.h"

#include "currentthread.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <string>

namespace ridge {
namespace {

/// 2024-01-31 14:25:01
std::tm fixedTime() {
    std::tm time{};
    time.tm_year = 124;
    time.tm_mon = 0;
    time.tm_mday = 31;
    time.tm_hour = 14;
    time.tm_min = 25;
    time.tm_sec = 1;
    return time;
}

std::string lineWith(std::uint32_t fields, const std::string& message = "Port opened") {
    const std::tm time = fixedTime();
    return buildLogLine(fields, {'W', "src/port.cpp", 42}, &time, message);
}

std::string threadText() {
    return std::to_string(static_cast<int>(currentThreadId()));
}

TEST(LogLine, NoField_IsTheMessageAlone) {
    EXPECT_EQ(lineWith(0), "Port opened");
}

TEST(LogLine, Location_IsPathAndLine) {
    EXPECT_EQ(lineWith(1), "[src/port.cpp:42] Port opened");
}

TEST(LogLine, Thread_IsItsIdentifier) {
    EXPECT_EQ(lineWith(2), "[" + threadText() + "] Port opened");
}

TEST(LogLine, Level_IsItsLetter) {
    EXPECT_EQ(lineWith(4), "[W] Port opened");
}

TEST(LogLine, Time_IsDateAndTimeOfDay) {
    EXPECT_EQ(lineWith(8), "[20240131-142501] Port opened");
}

TEST(LogLine, LevelAndLocation_AreSeparatedByASpace) {
    EXPECT_EQ(lineWith(5), "[W src/port.cpp:42] Port opened");
}

TEST(LogLine, AllFields_ComeAsLevelThreadLocationTime) {
    EXPECT_EQ(lineWith(15), "[W " + threadText() + " src/port.cpp:42 20240131-142501] Port opened");
}

TEST(LogLine, TimeThatCannotBeTold_IsZeros) {
    EXPECT_EQ(buildLogLine(8, {'W', "src/port.cpp", 42}, nullptr, "Port opened"),
              "[00000000-000000] Port opened");
}

TEST(LogLine, EachCarriageReturnAndLineFeed_BecomesASpace) {
    EXPECT_EQ(lineWith(0, "File not found.\r\nNext"), "File not found.  Next");
    EXPECT_EQ(lineWith(4, "\nFirst\rSecond\n"), "[W]  First Second ");
}

TEST(LogLine, PercentSignsInTheMessage_Stay) {
    EXPECT_EQ(lineWith(4, "100 %s"), "[W] 100 %s");
}

TEST(LogLine, EmptyMessage_LeavesThePrefix) {
    EXPECT_EQ(lineWith(4, ""), "[W] ");
    EXPECT_EQ(lineWith(0, ""), "");
}

} // namespace
} // namespace ridge
