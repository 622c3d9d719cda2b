#include "ridgeexception.h"
#include "serialporttest.h"
#include "statuscode.h"
#include "throwsridgeexception.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <system_error>

namespace ridge::test {
namespace {

using testing::ElementsAre;
using testing::IsSubsetOf;
using testing::Not;
using testing::UnorderedElementsAre;

constexpr const char* closesStop = "CloseHandle(stop)";
constexpr const char* closesRead = "CloseHandle(read)";
constexpr const char* closesReceive = "CloseHandle(receive)";
constexpr const char* closesSend = "CloseHandle(send)";
constexpr const char* makesEvent = "CreateEventA(null, 1, 0, null)";
constexpr const char* opensFile = R"(CreateFileA(\\.\COM7, c0000000, 0, null, 3, 40000000, null))";

class SerialPortOpening : public SerialPortTest {
protected:
    /// The word of bits in the control block that the driver reports and the library changes.
    static constexpr std::size_t flagWordOffset = 8;
    static_assert(offsetof(DCB, BaudRate) + sizeof(DWORD) == flagWordOffset);

    static void setFlagWord(DCB& settings, std::uint32_t flags) {
        std::memcpy(reinterpret_cast<std::uint8_t*>(&settings) + flagWordOffset, &flags,
                    sizeof(flags));
    }

    static std::uint32_t flagWord(const DCB& settings) {
        std::uint32_t flags = 0;
        std::memcpy(&flags, reinterpret_cast<const std::uint8_t*>(&settings) + flagWordOffset,
                    sizeof(flags));
        return flags;
    }

    std::uint32_t flagWordAppliedTo(std::uint32_t driverFlags) {
        DCB settings{};
        settings.DCBlength = sizeof(settings);
        setFlagWord(settings, driverFlags);
        win32.setDriverSettings(settings);
        open();
        return flagWord(win32.appliedSettings());
    }

    /// The calls that follow this one.
    std::vector<std::string> ownCallsAfter(const std::string& call) const {
        const std::vector<std::string> calls = ownCalls();
        const auto found = std::find(calls.begin(), calls.end(), call);
        return found == calls.end() ? calls : std::vector<std::string>(found + 1, calls.end());
    }
};

TEST_F(SerialPortOpening, Open_CallsTheSystemInOrderWithTheseArguments) {
    open();
    EXPECT_THAT(ownCalls(), ElementsAre(makesEvent, makesEvent, makesEvent, makesEvent, opensFile,
                                        "PurgeComm(port, c)", "GetCommState(port, length 28)",
                                        "SetCommState(port, length 28)",
                                        "SetCommTimeouts(port, read 4294967295 0 0, write 0 0)",
                                        "SetCommMask(port, 1)"));
}

TEST_F(SerialPortOpening, Open_UsesTheNameAsItStands) {
    open("com 3, my own");
    EXPECT_THAT(
        ownCalls(),
        testing::Contains("CreateFileA(com 3, my own, c0000000, 0, null, 3, 40000000, null)"));
    EXPECT_EQ(logLines().front(), "I Initializing device port com 3, my own");
}

TEST_F(SerialPortOpening, Open_SetsTheLine) {
    DCB settings{};
    settings.DCBlength = sizeof(settings);
    settings.BaudRate = 1200;
    settings.ByteSize = 5;
    settings.Parity = MARKPARITY;
    settings.StopBits = TWOSTOPBITS;
    win32.setDriverSettings(settings);
    open();
    const DCB applied = win32.appliedSettings();
    EXPECT_EQ(applied.BaudRate, 115200U);
    EXPECT_EQ(applied.ByteSize, 8);
    EXPECT_EQ(applied.Parity, 0);
    EXPECT_EQ(applied.StopBits, 0);
}

TEST_F(SerialPortOpening, Open_LeavesTheOtherSettingsToTheDriver) {
    DCB settings;
    std::memset(&settings, 0xA5, sizeof(settings));
    settings.DCBlength = sizeof(settings);
    win32.setDriverSettings(settings);
    open();
    DCB applied = win32.appliedSettings();
    applied.BaudRate = settings.BaudRate;
    applied.ByteSize = settings.ByteSize;
    applied.Parity = settings.Parity;
    applied.StopBits = settings.StopBits;
    setFlagWord(applied, flagWord(settings));
    EXPECT_EQ(std::memcmp(&applied, &settings, sizeof(settings)), 0);
}

TEST_F(SerialPortOpening, FlagWordOfOnes_KeepsBits0And3And6And7AndFrom15) {
    EXPECT_EQ(flagWordAppliedTo(0xFFFFFFFFU), 0xFFFF80C9U);
}

TEST_F(SerialPortOpening, FlagWordOfZeros_GetsBit0) {
    EXPECT_EQ(flagWordAppliedTo(0), 1U);
}

TEST_F(SerialPortOpening, Open_StartsTwoThreads) {
    open();
    EXPECT_EQ(win32.startedThreads(), 2);
    journal.await("I Dispatch thread started");
    journal.await("I Port receive thread started");
    EXPECT_NE(journal.threadOf("I Dispatch thread started"),
              journal.threadOf("I Port receive thread started"));
    EXPECT_NE(journal.threadOf("I Dispatch thread started"), GetCurrentThreadId());
    EXPECT_NE(journal.threadOf("I Port receive thread started"), GetCurrentThreadId());
}

TEST_F(SerialPortOpening, MissingFile_ThrowsItsTextAndNothingElse) {
    win32.fail(Call::createFile, ERROR_FILE_NOT_FOUND);
    EXPECT_THAT([this] { open(); },
                throwsRidgeException(status::serialPort, "Text of error 2.\r\n"));
    EXPECT_THAT(logLines(), ElementsAre(R"(I Initializing device port \\.\COM7)",
                                        "E Error 5 - Text of error 2.  "));
    EXPECT_THAT(ownCallsAfter(opensFile),
                UnorderedElementsAre(closesStop, closesRead, closesReceive, closesSend));
    EXPECT_EQ(win32.startedThreads(), 0);
}

TEST_F(SerialPortOpening, MissingFileWithoutSystemText_ThrowsItsNumber) {
    win32.haveNoTexts();
    win32.fail(Call::createFile, ERROR_FILE_NOT_FOUND);
    EXPECT_THAT([this] { open(); }, throwsRidgeException(status::serialPort, "Error 2."));
}

TEST_F(SerialPortOpening, PercentSignsInTheSystemText_StayAsTheyAre) {
    win32.useText("%s%n%d");
    win32.fail(Call::createFile, ERROR_FILE_NOT_FOUND);
    EXPECT_THAT([this] { open(); }, throwsRidgeException(status::serialPort, "%s%n%d"));
    EXPECT_EQ(logLines().back(), "E Error 5 - %s%n%d");
}

TEST_F(SerialPortOpening, PercentSignsInTheName_AreLoggedAsTheyStand) {
    win32.fail(Call::createFile, ERROR_INVALID_NAME);
    EXPECT_THROW(open("%s%n%d"), RidgeException);
    EXPECT_EQ(logLines().front(), "I Initializing device port %s%n%d");
}

TEST_F(SerialPortOpening, NoDispatchThread_PassesTheFailureOnAndLeavesNothing) {
    win32.fail(Call::beginThread, 0, 1);
    EXPECT_THROW(open(), std::system_error);
    EXPECT_THAT(logLines(),
                ElementsAre(R"(I Initializing device port \\.\COM7)", "I Closing device port"));
    EXPECT_EQ(win32.startedThreads(), 0);
}

TEST_F(SerialPortOpening, NoReceiveThread_StopsTheDispatchThreadAndPassesTheFailureOn) {
    win32.fail(Call::beginThread, 0, 2);
    EXPECT_THROW(open(), std::system_error);
    EXPECT_EQ(win32.startedThreads(), 1);
    EXPECT_THAT(logLines(),
                UnorderedElementsAre(R"(I Initializing device port \\.\COM7)",
                                     "I Dispatch thread started", "I Closing device port",
                                     "I Dispatch thread stopped"));
    EXPECT_THAT(ownCalls(), Not(testing::Contains("SetEvent(stop)")));
}

struct EventFailure {
    int invocation;
    const char* name;
};

class SerialPortEvents : public SerialPortTest, public testing::WithParamInterface<EventFailure> {};

TEST_P(SerialPortEvents, EventThatCannotBeMade_ClosesTheEarlierOnesAndThrows) {
    const auto [invocation, name] = GetParam();
    win32.fail(Call::createEvent, ERROR_NOT_ENOUGH_MEMORY, invocation);
    const std::string start = std::string("Error creating ") + name + " event. ";
    EXPECT_THAT([this] { open(); },
                throwsRidgeException(status::protocol, start + "Text of error 8.\r\n"));
    EXPECT_THAT(logLines(), ElementsAre("E Error 6 - " + start + "Text of error 8.  "));

    const std::vector<std::string> calls = ownCalls();
    const auto made = static_cast<std::size_t>(invocation);
    ASSERT_EQ(calls.size(), 2 * made - 1);
    for (std::size_t index = 0; index < made; ++index) {
        EXPECT_EQ(calls[index], makesEvent);
    }
    const std::vector<std::string> closes(calls.begin() + invocation, calls.end());
    EXPECT_THAT(closes, IsSubsetOf({closesStop, closesRead, closesReceive}));
    EXPECT_EQ(win32.startedThreads(), 0);
}

TEST_P(SerialPortEvents, EventThatCannotBeMadeWithoutSystemText_ThrowsTheNumber) {
    const auto [invocation, name] = GetParam();
    win32.haveNoTexts();
    win32.fail(Call::createEvent, ERROR_NOT_ENOUGH_MEMORY, invocation);
    EXPECT_THAT([this] { open(); },
                throwsRidgeException(status::protocol,
                                     std::string("Error creating ") + name + " event. Error 8."));
}

INSTANTIATE_TEST_SUITE_P(Each, SerialPortEvents,
                         testing::Values(EventFailure{1, "stop"}, EventFailure{2, "read"},
                                         EventFailure{3, "receive"}, EventFailure{4, "send"}),
                         [](const auto& instance) { return std::string(instance.param.name); });

struct ConfigurationFailure {
    Call call;
    const char* name;
    const char* lastCall;
    const char* text;
};

class SerialPortConfiguration : public SerialPortTest,
                                public testing::WithParamInterface<ConfigurationFailure> {};

TEST_P(SerialPortConfiguration, FailingCall_ClosesThePortAndThrows) {
    const ConfigurationFailure failure = GetParam();
    win32.fail(failure.call, ERROR_ACCESS_DENIED);
    EXPECT_THAT([this] { open(); },
                throwsRidgeException(status::serialPort,
                                     std::string(failure.text) + "Text of error 5.\r\n"));
    EXPECT_THAT(logLines(),
                ElementsAre(R"(I Initializing device port \\.\COM7)",
                            std::string("E Error 5 - ") + failure.text + "Text of error 5.  ",
                            "I Closing device port"));
    const std::vector<std::string> calls = ownCalls();
    ASSERT_GT(calls.size(), 6U);
    const auto closes = calls.end() - 5;
    EXPECT_EQ(*(closes - 1), failure.lastCall);
    EXPECT_EQ(*closes, "CloseHandle(port)");
    EXPECT_THAT(std::vector<std::string>(closes + 1, calls.end()),
                UnorderedElementsAre(closesStop, closesRead, closesReceive, closesSend));
    EXPECT_EQ(win32.startedThreads(), 0);
}

TEST_P(SerialPortConfiguration, FailingCallWithoutSystemText_ThrowsTheNumber) {
    const ConfigurationFailure failure = GetParam();
    win32.haveNoTexts();
    win32.fail(failure.call, ERROR_ACCESS_DENIED);
    EXPECT_THAT([this] { open(); },
                throwsRidgeException(status::serialPort, std::string(failure.text) + "Error 5."));
}

INSTANTIATE_TEST_SUITE_P(
    Each, SerialPortConfiguration,
    testing::Values(ConfigurationFailure{Call::purgeComm, "PurgeComm", "PurgeComm(port, c)",
                                         "Error clearing port. "},
                    ConfigurationFailure{Call::getCommState, "GetCommState",
                                         "GetCommState(port, length 28)",
                                         "Error reading port settings. "},
                    ConfigurationFailure{Call::setCommState, "SetCommState",
                                         "SetCommState(port, length 28)",
                                         "Error updating port settings. "},
                    ConfigurationFailure{Call::setCommTimeouts, "SetCommTimeouts",
                                         "SetCommTimeouts(port, read 4294967295 0 0, write 0 0)",
                                         "Error updating port timeouts. "},
                    ConfigurationFailure{Call::setCommMask, "SetCommMask", "SetCommMask(port, 1)",
                                         "Error setting port mask. "}),
    [](const auto& instance) { return std::string(instance.param.name); });

} // namespace
} // namespace ridge::test
