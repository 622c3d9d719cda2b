#include "messages.h"

#include "steppingclock.h"

#include <gtest/gtest.h>

#include <sstream>

namespace ridge::tool {
namespace {

using std::chrono::milliseconds;

class MessagesOfATerminal : public testing::Test {
protected:
    std::string written() {
        std::string text = stream.str();
        stream.str("");
        return text;
    }

    std::ostringstream stream;
    test::SteppingClock clock{milliseconds(1250)};
    Messages messages{stream, clock, 10};
};

} // namespace

TEST_F(MessagesOfATerminal, Progress_TellsTheTimeSinceTheStart) {
    messages.progress("connecting");
    EXPECT_EQ(written(), "[  1.2 s] connecting\n");
}

TEST_F(MessagesOfATerminal, Status_IsRewrittenInPlace) {
    messages.status("one");
    EXPECT_EQ(written(), "\rone");
    messages.status("two");
    EXPECT_EQ(written(), "\rtwo");
    messages.status("two");
    EXPECT_EQ(written(), "");
}

TEST_F(MessagesOfATerminal, ShorterStatus_LeavesNothingOfTheLongerOne) {
    messages.status("longer");
    written();
    messages.status("short");
    EXPECT_EQ(written(), "\r      \rshort");
}

TEST_F(MessagesOfATerminal, StatusThatIsTooLong_IsCutAtTheTerminalsWidth) {
    messages.status("0123456789abc");
    EXPECT_EQ(written(), "\r0123456789");
}

TEST_F(MessagesOfATerminal, Line_StandsAboveTheStatus) {
    messages.status("wait");
    written();
    messages.line("said");
    EXPECT_EQ(written(), "\r    \rsaid\n\rwait");
}

TEST_F(MessagesOfATerminal, ErasedStatus_LeavesNothing) {
    messages.status("wait");
    written();
    messages.eraseStatus();
    EXPECT_EQ(written(), "\r    \r");
    messages.line("said");
    EXPECT_EQ(written(), "said\n");
}

TEST(Messages, StatusWithoutTerminal_IsSilent) {
    std::ostringstream stream;
    const SteadyClock clock;
    Messages messages(stream, clock);
    messages.status("wait");
    messages.eraseStatus();
    EXPECT_EQ(stream.str(), "");
}

} // namespace ridge::tool
