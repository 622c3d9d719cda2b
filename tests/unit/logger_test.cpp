#include "logger.h"

#include "currentthread.h"
#include "ridge-sdk.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <ctime>
#include <memory>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace ridge {
namespace {

/// What an application's callback has been given.
struct Deliveries {
    std::vector<std::int32_t> levels;
    std::vector<std::string> lines;
};

void keep(std::int32_t level, const char* line, void* userContext) {
    auto* deliveries = static_cast<Deliveries*>(userContext);
    deliveries->levels.push_back(level);
    deliveries->lines.emplace_back(line);
}

/// A logger that writes into the test's own storage and tells when it has gone.
class KeepingLogger final : public Logger {
public:
    KeepingLogger(std::vector<std::string>& destination, bool& destroyedFlag)
        : lines(destination), destroyed(destroyedFlag) {}
    ~KeepingLogger() override { destroyed = true; }

    KeepingLogger(const KeepingLogger&) = delete;
    KeepingLogger& operator=(const KeepingLogger&) = delete;

    void log(std::int32_t, const std::string& line) override { lines.push_back(line); }

private:
    std::vector<std::string>& lines;
    bool& destroyed;
};

std::string localTimeText() {
    const std::time_t now = std::time(nullptr);
    std::array<char, 30> text{};
    std::strftime(text.data(), text.size(), "%Y%m%d-%H%M%S", std::localtime(&now));
    return text.data();
}

class Logging : public testing::Test {
protected:
    Logging() { removeLogger(); }
    ~Logging() override { removeLogger(); }

    /// What follows the prefix of the only line delivered.
    std::string onlyMessage() const {
        EXPECT_EQ(deliveries.lines.size(), 1U);
        const std::string line = deliveries.lines.empty() ? "" : deliveries.lines[0];
        return line.substr(line.find("] ") + 2);
    }

    Deliveries deliveries;
};

class LogLevels : public Logging {};
class LogLineFormat : public Logging {};
class LogDelivery : public Logging {};
class LoggerInstallation : public Logging {};
class SetLoggerCall : public Logging {};

TEST_F(LogLevels, Threshold_LetsItsOwnLevelAndTheMoreSeriousPass) {
    struct Row {
        char threshold;
        std::string passing;
    };
    const std::string levels = "DIWE";
    for (const Row& row : {Row{'D', "DIWE"}, Row{'I', "IWE"}, Row{'W', "WE"}, Row{'E', "E"}}) {
        deliveries = {};
        ASSERT_EQ(ridgeSetLogger(row.threshold, keep, &deliveries), 0);
        for (const char level : levels) {
            logMessage(level, "file.cpp", 1, "line");
        }
        EXPECT_EQ(std::string(deliveries.levels.begin(), deliveries.levels.end()), row.passing)
            << "threshold " << row.threshold;
    }
}

TEST_F(LogLevels, UnknownLevel_PassesAtThresholdDOnly_AndReachesTheCallbackAsInformation) {
    for (const char threshold : {'I', 'W', 'E'}) {
        ASSERT_EQ(ridgeSetLogger(threshold, keep, &deliveries), 0);
        logMessage('X', "file.cpp", 1, "line");
        EXPECT_TRUE(deliveries.lines.empty()) << "threshold " << threshold;
    }
    ASSERT_EQ(ridgeSetLogger('D', keep, &deliveries), 0);
    logMessage('X', "file.cpp", 1, "line");
    EXPECT_EQ(deliveries.levels, std::vector<std::int32_t>{'I'});
    ASSERT_EQ(deliveries.lines.size(), 1U);
    EXPECT_EQ(deliveries.lines[0].substr(0, 3), "[X ");
}

TEST_F(LogLevels, FormatOfAFilteredLine_IsNotExpanded) {
    // Expanding the format stores a count.
    int expanded = 0;
    ASSERT_EQ(ridgeSetLogger('W', keep, &deliveries), 0);
    logMessage('I', "file.cpp", 1, "four%n", &expanded);
    EXPECT_EQ(expanded, 0);
    logMessage('W', "file.cpp", 1, "four%n", &expanded);
    EXPECT_EQ(expanded, 4);
}

TEST_F(LogLevels, WithoutALogger_FormatsAreNotExpanded) {
    int expanded = 0;
    logMessage('E', "file.cpp", 1, "four%n", &expanded);
    EXPECT_EQ(expanded, 0);
}

TEST_F(LogLineFormat, Prefix_IsLevelThreadLocationAndTime) {
    ASSERT_EQ(ridgeSetLogger('D', keep, &deliveries), 0);
    logMessage('I', "path/of/source", 569, "Start stream");
    ASSERT_EQ(deliveries.lines.size(), 1U);
    EXPECT_TRUE(std::regex_match(
        deliveries.lines[0],
        std::regex(R"(\[I -?[0-9]+ path/of/source:569 [0-9]{8}-[0-9]{6}\] Start stream)")))
        << deliveries.lines[0];
}

TEST_F(LogLineFormat, EveryLevel_StandsFirst) {
    ASSERT_EQ(ridgeSetLogger('D', keep, &deliveries), 0);
    for (const char level : std::string("DIWE")) {
        logMessage(level, "file.cpp", 1, "line");
        EXPECT_EQ(deliveries.lines.back().substr(0, 3), std::string("[") + level + " ");
    }
}

TEST_F(LogLineFormat, Thread_IsTheCallingOne) {
    ASSERT_EQ(ridgeSetLogger('D', keep, &deliveries), 0);
    std::int32_t otherThread = 0;
    std::thread([&otherThread] {
        otherThread = static_cast<std::int32_t>(currentThreadId());
        logMessage('I', "file.cpp", 1, "line");
    }).join();
    logMessage('I', "file.cpp", 1, "line");
    const auto thisThread = static_cast<std::int32_t>(currentThreadId());
    ASSERT_EQ(deliveries.lines.size(), 2U);
    EXPECT_EQ(deliveries.lines[0].find("[I " + std::to_string(otherThread) + " file.cpp:1 "), 0U)
        << deliveries.lines[0];
    EXPECT_EQ(deliveries.lines[1].find("[I " + std::to_string(thisThread) + " file.cpp:1 "), 0U)
        << deliveries.lines[1];
}

TEST_F(LogLineFormat, Location_IsTheWholePathAsItStands) {
    ASSERT_EQ(ridgeSetLogger('D', keep, &deliveries), 0);
    logMessage('I', R"(a:\b c\100%s\source.cpp)", -1, "line");
    ASSERT_EQ(deliveries.lines.size(), 1U);
    EXPECT_NE(deliveries.lines[0].find(R"( a:\b c\100%s\source.cpp:-1 )"), std::string::npos)
        << deliveries.lines[0];
}

TEST_F(LogLineFormat, Macro_PutsInThePlaceOfItsStatement) {
    ASSERT_EQ(ridgeSetLogger('D', keep, &deliveries), 0);
    const int line = __LINE__ + 1;
    RIDGE_LOG(logInformation, "%s thread active", "Capture");
    ASSERT_EQ(deliveries.lines.size(), 1U);
    EXPECT_NE(
        deliveries.lines[0].find(" " + std::string(__FILE__) + ":" + std::to_string(line) + " "),
        std::string::npos)
        << deliveries.lines[0];
    EXPECT_EQ(onlyMessage(), "Capture thread active");
}

TEST_F(LogLineFormat, Time_IsTheLocalTimeNow) {
    ASSERT_EQ(ridgeSetLogger('D', keep, &deliveries), 0);
    const std::string before = localTimeText();
    logMessage('I', "file.cpp", 1, "line");
    const std::string after = localTimeText();
    ASSERT_EQ(deliveries.lines.size(), 1U);
    const std::string& line = deliveries.lines[0];
    const std::string time = line.substr(line.find("] ") - 15, 15);
    EXPECT_GE(time, before);
    EXPECT_LE(time, after);
}

TEST_F(LogLineFormat, CarriageReturnAndLineFeed_BecomeTwoSpaces) {
    ASSERT_EQ(ridgeSetLogger('D', keep, &deliveries), 0);
    logMessage('I', "file.cpp", 1, "%s", "one\r\ntwo");
    EXPECT_EQ(onlyMessage(), "one  two");
}

TEST_F(LogLineFormat, EveryLineBreak_BecomesASpace) {
    ASSERT_EQ(ridgeSetLogger('D', keep, &deliveries), 0);
    logMessage('I', "file.cpp", 1, "\none\n\ntwo\rthree\n\r%s\n", "four\n");
    EXPECT_EQ(onlyMessage(), " one  two three  four  ");
}

TEST_F(LogLineFormat, Message_IsFilledWithItsArguments) {
    ASSERT_EQ(ridgeSetLogger('D', keep, &deliveries), 0);
    logMessage('I', "file.cpp", 1, "%s error %d/%s, mode:%c 100%%", "Capture", 9, "%d", 'N');
    EXPECT_EQ(onlyMessage(), "Capture error 9/%d, mode:N 100%");
}

TEST_F(LogLineFormat, EmptyMessage_LeavesThePrefixAndItsSpace) {
    ASSERT_EQ(ridgeSetLogger('D', keep, &deliveries), 0);
    logMessage('I', "file.cpp", 1, "%s", "");
    ASSERT_EQ(deliveries.lines.size(), 1U);
    EXPECT_EQ(deliveries.lines[0].substr(deliveries.lines[0].size() - 2), "] ");
}

TEST_F(LogLineFormat, MessageOfAnyLength_IsComplete) {
    ASSERT_EQ(ridgeSetLogger('D', keep, &deliveries), 0);
    const std::string text(50000, 'm');
    logMessage('I', "file.cpp", 1, "%s", text.c_str());
    EXPECT_EQ(onlyMessage(), text);
}

TEST_F(LogDelivery, WithoutALogger_NothingHappens) {
    EXPECT_NO_FATAL_FAILURE(logMessage('E', "file.cpp", 1, "line"));
    EXPECT_TRUE(deliveries.lines.empty());
}

TEST_F(LogDelivery, UserLogger_PassesLevelLineAndContext) {
    UserLogger logger(keep, &deliveries);
    for (const int level : {int{'D'}, int{'I'}, int{'W'}, int{'E'}}) {
        logger.log(level, "a finished line");
    }
    EXPECT_EQ(deliveries.levels, (std::vector<std::int32_t>{'D', 'I', 'W', 'E'}));
    EXPECT_EQ(deliveries.lines, std::vector<std::string>(4, "a finished line"));
}

TEST_F(LogDelivery, UserLogger_TurnsUnknownLevelsIntoInformation) {
    UserLogger logger(keep, &deliveries);
    for (const std::int32_t level : {0, -1, int{'d'}, int{'X'}, 'D' + 256}) {
        logger.log(level, "line");
    }
    EXPECT_EQ(deliveries.levels, std::vector<std::int32_t>(5, 'I'));
}

TEST_F(LogDelivery, UserLogger_DropsWhatTheCallbackThrows) {
    UserLogger standard(
        [](std::int32_t, const char*, void*) { throw std::runtime_error("callback"); }, nullptr);
    EXPECT_NO_THROW(standard.log('I', "line"));
    UserLogger other([](std::int32_t, const char*, void*) { throw 5; }, nullptr);
    EXPECT_NO_THROW(other.log('I', "line"));
}

TEST_F(LogDelivery, CallbackThatThrows_GetsTheNextLineToo) {
    const auto keepAndThrow = [](std::int32_t level, const char* line, void* userContext) {
        keep(level, line, userContext);
        throw std::runtime_error("callback");
    };
    ASSERT_EQ(ridgeSetLogger('D', keepAndThrow, &deliveries), 0);
    logMessage('I', "file.cpp", 1, "first");
    logMessage('I', "file.cpp", 1, "second");
    EXPECT_EQ(deliveries.lines.size(), 2U);
}

TEST_F(LogDelivery, LoggerThatThrows_LeavesTheLogUsable) {
    class ThrowingLogger final : public Logger {
    public:
        explicit ThrowingLogger(int& callCount) : calls(callCount) {}
        void log(std::int32_t, const std::string&) override {
            ++calls;
            throw std::runtime_error("logger");
        }

    private:
        int& calls;
    };
    int calls = 0;
    installLogger(std::make_unique<ThrowingLogger>(calls), 'D');
    logMessage('I', "file.cpp", 1, "line");
    std::thread([] { logMessage('I', "file.cpp", 1, "line"); }).join();
    EXPECT_EQ(calls, 2);
}

TEST_F(LogDelivery, FilteredLine_DoesNotWaitForOneThatIsBeingDelivered) {
    int delivered = 0;
    const auto logElsewhere = [](std::int32_t, const char*, void* userContext) {
        std::thread([] { logMessage('I', "file.cpp", 1, "line"); }).join();
        ++*static_cast<int*>(userContext);
    };
    installLogger(std::make_unique<UserLogger>(logElsewhere, &delivered), 'E');
    logMessage('E', "file.cpp", 2, "line");
    EXPECT_EQ(delivered, 1);
}

TEST_F(LogDelivery, ManyThreads_EnterTheCallbackOneAtATime) {
    struct Counter {
        std::atomic<int> inside{0};
        std::atomic<int> overlaps{0};
        int lines = 0; // guarded by the log's own lock
    } counter;
    const auto count = [](std::int32_t, const char*, void* userContext) {
        auto* shared = static_cast<Counter*>(userContext);
        if (++shared->inside != 1) {
            ++shared->overlaps;
        }
        ++shared->lines;
        std::this_thread::yield();
        --shared->inside;
    };
    ASSERT_EQ(ridgeSetLogger('I', count, &counter), 0);
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([thread] {
            for (int number = 0; number < 250; ++number) {
                logMessage('I', "file.cpp", number, "thread %d", thread);
                logMessage('D', "file.cpp", number, "thread %d", thread);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter.overlaps, 0);
    EXPECT_EQ(counter.lines, 1000);
}

TEST_F(LoggerInstallation, RemovedLogger_IsDestroyedAndGetsNothingMore) {
    std::vector<std::string> lines;
    bool destroyed = false;
    installLogger(std::make_unique<KeepingLogger>(lines, destroyed), 'D');
    logMessage('I', "file.cpp", 1, "line");
    EXPECT_FALSE(destroyed);
    removeLogger();
    EXPECT_TRUE(destroyed);
    logMessage('I', "file.cpp", 1, "line");
    EXPECT_EQ(lines.size(), 1U);
}

TEST_F(LoggerInstallation, LoggerInstalledInTheMeantime_Stays_AndTheLaterOneIsDestroyed) {
    std::vector<std::string> firstLines;
    std::vector<std::string> secondLines;
    bool firstDestroyed = false;
    bool secondDestroyed = false;
    installLogger(std::make_unique<KeepingLogger>(firstLines, firstDestroyed), 'E');
    installLogger(std::make_unique<KeepingLogger>(secondLines, secondDestroyed), 'D');
    EXPECT_FALSE(firstDestroyed);
    EXPECT_TRUE(secondDestroyed);
    logMessage('E', "file.cpp", 1, "line");
    logMessage('W', "file.cpp", 1, "line");
    EXPECT_EQ(firstLines.size(), 1U);
    EXPECT_TRUE(secondLines.empty());
    // It writes into what ends here.
    removeLogger();
}

TEST_F(LoggerInstallation, LevelOutsideDToW_IsReportedOnStandardOutput_AndInformationUsed) {
    for (const char level : {'X', 'C', 'd', ' '}) {
        removeLogger();
        deliveries = {};
        testing::internal::CaptureStdout();
        installLogger(std::make_unique<UserLogger>(keep, &deliveries), level);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  std::string("Invalid log level '") + level + "'. Using level of INFO.\n");
        for (const char logged : std::string("DIWE")) {
            logMessage(logged, "file.cpp", 1, "line");
        }
        EXPECT_EQ(deliveries.levels, (std::vector<std::int32_t>{'I', 'W', 'E'}));
    }
}

TEST_F(LoggerInstallation, LevelWithinDToW_IsNotReported) {
    for (const char level : std::string("DIWEF")) {
        removeLogger();
        testing::internal::CaptureStdout();
        installLogger(std::make_unique<UserLogger>(keep, &deliveries), level);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    }
}

TEST_F(LoggerInstallation, LaterLoggerWithABadLevel_IsNotReported) {
    installLogger(std::make_unique<UserLogger>(keep, &deliveries), 'D');
    testing::internal::CaptureStdout();
    installLogger(std::make_unique<UserLogger>(keep, &deliveries), 'X');
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(SetLoggerCall, NullCallback_IsRefused_AndTheInstalledLoggerStays) {
    ASSERT_EQ(ridgeSetLogger('I', keep, &deliveries), 0);
    Deliveries others;
    EXPECT_EQ(ridgeSetLogger('I', nullptr, &others), 3);
    logMessage('I', "file.cpp", 1, "line");
    EXPECT_EQ(deliveries.lines.size(), 1U);
}

TEST_F(SetLoggerCall, UnknownLevel_IsRefused_AndTheInstalledLoggerStays) {
    ASSERT_EQ(ridgeSetLogger('W', keep, &deliveries), 0);
    Deliveries others;
    for (const std::int32_t level : {int{'X'}, int{'d'}, int{'F'}, 0, -1, 'D' + 256}) {
        EXPECT_EQ(ridgeSetLogger(level, keep, &others), 2) << "level " << level;
    }
    logMessage('W', "file.cpp", 1, "line");
    logMessage('I', "file.cpp", 1, "line");
    EXPECT_EQ(deliveries.lines.size(), 1U);
    EXPECT_TRUE(others.lines.empty());
}

TEST_F(SetLoggerCall, NullCallback_IsReportedBeforeAnUnknownLevel) {
    EXPECT_EQ(ridgeSetLogger('X', nullptr, nullptr), 3);
}

TEST_F(SetLoggerCall, SecondCall_ReplacesCallbackContextAndThreshold) {
    Deliveries others;
    ASSERT_EQ(ridgeSetLogger('E', keep, &deliveries), 0);
    ASSERT_EQ(ridgeSetLogger('D', keep, &others), 0);
    logMessage('D', "file.cpp", 1, "line");
    EXPECT_TRUE(deliveries.lines.empty());
    EXPECT_EQ(others.lines.size(), 1U);
    ASSERT_EQ(ridgeSetLogger('E', keep, &deliveries), 0);
    logMessage('D', "file.cpp", 1, "line");
    EXPECT_TRUE(deliveries.lines.empty());
    EXPECT_EQ(others.lines.size(), 1U);
}

TEST_F(SetLoggerCall, FromManyThreads_LeavesOneOfTheirLoggersInstalled) {
    std::array<Deliveries, 4> received;
    std::vector<std::thread> threads;
    threads.reserve(received.size());
    for (Deliveries& own : received) {
        threads.emplace_back([&own] {
            for (int round = 0; round < 100; ++round) {
                EXPECT_EQ(ridgeSetLogger('I', keep, &own), 0);
                logMessage('I', "file.cpp", round, "line");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (Deliveries& own : received) {
        own = {};
    }
    logMessage('I', "file.cpp", 1, "line");
    std::size_t lines = 0;
    for (const Deliveries& own : received) {
        lines += own.lines.size();
    }
    EXPECT_EQ(lines, 1U);
}

} // namespace
} // namespace ridge
