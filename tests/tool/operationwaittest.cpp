#include "operation.h"

#include "steppingclock.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>

namespace ridge::tool {
namespace {

/// Calls something with the whole text each time the stream is flushed.
class WatchedBuffer : public std::stringbuf {
public:
    std::function<void(const std::string&)> onFlush;

private:
    int sync() override {
        if (onFlush) {
            onFlush(str());
        }
        return 0;
    }
};

class OperationWaiting : public testing::Test {
protected:
    test::SteppingClock clock{std::chrono::milliseconds(400)};
    WatchedBuffer written;
    std::ostream errors{&written};
    std::istringstream input;
    std::ostringstream output;
    Environment environment{input, false, output, std::nullopt, clock, ""};
    Interruption interruption;
    OperationInbox inbox;
};

} // namespace

TEST_F(OperationWaiting, OnATerminal_ShowsWhatIsAwaitedAndForHowLong_UntilItArrives) {
    Messages messages(errors, clock, 40);
    const CommandContext context{environment, messages, interruption, std::nullopt};
    OperationWait wait(inbox, context);
    written.onFlush = [this](const std::string& text) {
        if (text.ends_with("waiting, 0.8 s")) {
            inbox.post(FingerEvent{5});
        }
    };
    EXPECT_TRUE(std::holds_alternative<FingerEvent>(wait.next("waiting")));
    EXPECT_EQ(written.str(), "\rwaiting, 0.4 s\rwaiting, 0.8 s\r              \r");
}

TEST_F(OperationWaiting, WhatHasArrivedAlready_IsTakenWithoutAWord) {
    Messages messages(errors, clock, 40);
    const CommandContext context{environment, messages, interruption, std::nullopt};
    inbox.post(FingerEvent{5});
    OperationWait wait(inbox, context);
    EXPECT_TRUE(std::holds_alternative<FingerEvent>(wait.next("waiting")));
    EXPECT_EQ(written.str(), "");
}

TEST_F(OperationWaiting, WithoutTerminal_IsSilent) {
    Messages messages(errors, clock);
    const CommandContext context{environment, messages, interruption, std::nullopt};
    OperationWait wait(inbox, context);
    EXPECT_FALSE(wait.nextUntil(clock.now() + std::chrono::seconds(1), "waiting"));
    EXPECT_EQ(written.str(), "");
}

} // namespace ridge::tool
