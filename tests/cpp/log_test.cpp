#include "ridge-sdk.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace ridge::test {
namespace {

/// The one line that a start without a context leaves in the log.
void logOneLine() {
    ridgeStartStream(nullptr, nullptr, nullptr, nullptr);
}

class Log : public testing::Test {
protected:
    using Lines = std::vector<std::pair<LogLevel, std::string>>;

    LogReceiver::Function into(Lines& lines) {
        return [&lines](LogLevel level, std::string_view line) {
            lines.emplace_back(level, line.substr(line.find("] ") + 2));
        };
    }

    const Lines oneLine{{LogLevel::information, "Start stream"}};
    Lines first;
    Lines second;
};

TEST_F(Log, LinesReachTheReceiverAsLongAsItLives) {
    {
        const LogReceiver receiver(LogLevel::debug, into(first));
        logOneLine();
    }
    logOneLine();
    EXPECT_EQ(first, oneLine);
}

TEST_F(Log, LinesBelowTheThreshold_AreNotDelivered) {
    const LogReceiver receiver(LogLevel::warning, into(first));
    logOneLine();
    EXPECT_EQ(first, Lines());
}

TEST_F(Log, NewerReceiver_ReplacesTheOneBeforeAndOutlivesIt) {
    auto older = std::make_unique<LogReceiver>(LogLevel::debug, into(first));
    const LogReceiver newer(LogLevel::debug, into(second));
    older.reset();
    logOneLine();
    EXPECT_EQ(first, Lines());
    EXPECT_EQ(second, oneLine);
}

TEST_F(Log, NewerReceiverThatGoes_LeavesSilence) {
    const LogReceiver older(LogLevel::debug, into(first));
    { const LogReceiver newer(LogLevel::debug, into(second)); }
    logOneLine();
    EXPECT_EQ(first, Lines());
    EXPECT_EQ(second, Lines());
}

TEST_F(Log, ReceiverThatThrows_LosesALineAndGetsTheNext) {
    int lines = 0;
    const LogReceiver receiver(LogLevel::debug, [&](LogLevel, std::string_view) {
        ++lines;
        throw std::runtime_error("the disk is full");
    });
    logOneLine();
    logOneLine();
    EXPECT_EQ(lines, 2);
}

TEST_F(Log, LevelThatIsNone_IsRefused) {
    try {
        const LogReceiver receiver(static_cast<LogLevel>('X'), into(first));
        FAIL() << "nothing was thrown";
    } catch (const Error& error) {
        EXPECT_EQ(error.status(), Status::invalidArgument);
        EXPECT_STREQ(error.what(), "The log receiver cannot be installed.");
    }
}

} // namespace
} // namespace ridge::test
