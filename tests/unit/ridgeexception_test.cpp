#include "ridgeexception.h"

#include "logrecorder.h"

#include <gtest/gtest.h>

#include <exception>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace ridge {
namespace {

using test::LogRecorder;

TEST(RidgeException, IsAStandardException) {
    EXPECT_TRUE((std::is_base_of_v<std::exception, RidgeException>));
    EXPECT_TRUE(std::has_virtual_destructor_v<RidgeException>);
}

TEST(RidgeException, KeepsItsCodeAndTheFilledMessage) {
    const RidgeException exception("file.cpp", 1, 13, "%s: Failed (%d) with error %d. %s", "PING",
                                   49, 5, "ok");
    EXPECT_EQ(exception.code(), 13);
    EXPECT_STREQ(exception.what(), "PING: Failed (49) with error 5. ok");
}

TEST(RidgeException, MessageOfAnyLength_IsComplete) {
    const std::string text(20000, 'm');
    EXPECT_EQ(RidgeException("file.cpp", 1, 4, "%s", text.c_str()).what(), text);
}

TEST(RidgeException, SerialPortForm_HasCodeFive) {
    const RidgeException exception("file.cpp", 1, std::string("Error clearing port. Gone.\r\n"));
    EXPECT_EQ(exception.code(), 5);
    EXPECT_STREQ(exception.what(), "Error clearing port. Gone.\r\n");
}

TEST(RidgeException, SerialPortForm_TakesPercentSignsAsTheyAre) {
    const LogRecorder log;
    EXPECT_STREQ(RidgeException("file.cpp", 1, std::string("100%s %n %d")).what(), "100%s %n %d");
    EXPECT_EQ(log.messages('E'), std::vector<std::string>{"Error 5 - 100%s %n %d"});
}

TEST(RidgeException, Construction_LeavesOneErrorLineWithThePlaceOfTheThrow) {
    const LogRecorder log;
    const RidgeException exception("some/source.cpp", 42, 9, "Timeout pinging device.");
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].level, 'E');
    EXPECT_EQ(log.lines()[0].message, "Error 9 - Timeout pinging device.");
    EXPECT_NE(log.lines()[0].line.find(" some/source.cpp:42 "), std::string::npos)
        << log.lines()[0].line;
}

TEST(RidgeException, SerialPortForm_LeavesTheSameErrorLine) {
    const LogRecorder log;
    const RidgeException exception("some/source.cpp", 43, std::string("Gone.\r\n"));
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].level, 'E');
    EXPECT_EQ(log.lines()[0].message, "Error 5 - Gone.  ");
    EXPECT_NE(log.lines()[0].line.find(" some/source.cpp:43 "), std::string::npos)
        << log.lines()[0].line;
}

TEST(RidgeException, ThrowingCopyingAndCatching_LogNothingMore) {
    const LogRecorder log;
    try {
        throw RidgeException("file.cpp", 1, 6, "Failed to serialize packet!");
    } catch (const RidgeException& caught) {
        const auto copy = std::make_unique<RidgeException>(caught);
        EXPECT_EQ(copy->code(), 6);
        EXPECT_STREQ(copy->what(), "Failed to serialize packet!");
    }
    EXPECT_EQ(log.messages('E'), std::vector<std::string>{"Error 6 - Failed to serialize packet!"});
}

TEST(RidgeException, MacroPutsInThePlaceOfItsStatement) {
    const LogRecorder log;
    const int line = __LINE__ + 1;
    const RidgeException exception = RIDGE_EXCEPTION(6, "Invalid frame size %d", 0);
    EXPECT_EQ(exception.code(), 6);
    EXPECT_STREQ(exception.what(), "Invalid frame size 0");
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_NE(
        log.lines()[0].line.find(" " + std::string(__FILE__) + ":" + std::to_string(line) + " "),
        std::string::npos)
        << log.lines()[0].line;
}

} // namespace
} // namespace ridge
