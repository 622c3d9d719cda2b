#include "childmodes.h"
#include "mendedprocess.h"
#include "porttest.h"
#include "programfolder.h"
#include "systemfailure.h"

#include <array>
#include <string>
#include <system_error>

#include <gtest/gtest.h>

namespace ridge::simulator::tests {

namespace {

std::wstring launchCommandLine(const std::wstring& arguments) {
    return L'"' + (programFolder() / "ridge-launch.exe").wstring() + L"\" " +
           childCommandLine(arguments);
}

struct Pipe {
    Pipe() {
        HANDLE readEnd = nullptr;
        HANDLE writeEnd = nullptr;
        if (CreatePipe(&readEnd, &writeEnd, nullptr, 0) == 0) {
            throwSystemFailure("cannot create a pipe");
        }
        reader.reset(readEnd);
        writer.reset(writeEnd);
    }

    ScopedHandle reader;
    ScopedHandle writer;
};

std::string readToEnd(HANDLE handle) {
    std::string text;
    std::array<char, 256> part{};
    DWORD size = 0;
    while (ReadFile(handle, part.data(), part.size(), &size, nullptr) != 0 && size != 0) {
        text.append(part.data(), size);
    }
    return text;
}

} // namespace

TEST(StartMended, Program_RunsMended) {
    EXPECT_EQ(startMended(childCommandLine(L"check-mends")).wait(), 0U);
}

// A process whose end is not mended hangs in some of its ends.
TEST(StartMended, ProgramThatExitsAmidRequests_Ends) {
    constexpr int ends = 20;
    const auto port = createFreePort();
    for (int count = 0; count < ends; ++count) {
        const MendedProcess process =
            startMended(childCommandLine(L"exit-amid-requests " + std::to_wstring(port->number())));
        EXPECT_EQ(process.wait(), 0U);
    }
}

TEST(StartMended, ProgramThatDoesNotExist_IsReported) {
    EXPECT_THROW(startMended(L"no-such-program.exe"), std::system_error);
}

TEST(StartMended, MendLibraryThatDoesNotExist_IsReported) {
    EXPECT_THROW(startMended(childCommandLine(L"exit-code 0"), StandardHandles(), "no-such.dll"),
                 std::runtime_error);
}

TEST(Launcher, Program_RunsMended) {
    EXPECT_EQ(startMended(launchCommandLine(L"check-mends")).wait(), 0U);
}

TEST(Launcher, ExitCode_IsTheProgramsOwn) {
    EXPECT_EQ(startMended(launchCommandLine(L"exit-code 42")).wait(), 42U);
}

TEST(Launcher, QuotedArgument_ReachesTheProgramWhole) {
    EXPECT_EQ(startMended(launchCommandLine(L"argument-length \"three words here\"")).wait(), 16U);
}

TEST(Launcher, StandardInputAndOutput_AreTheProgramsOwn) {
    Pipe input;
    Pipe output;
    const std::string text = "forwarded text";
    StandardHandles handles;
    handles.input = input.reader.get();
    handles.output = output.writer.get();
    const MendedProcess launcher = startMended(launchCommandLine(L"echo"), handles);
    input.reader.reset();
    output.writer.reset();
    DWORD size = 0;
    ASSERT_NE(
        WriteFile(input.writer.get(), text.data(), static_cast<DWORD>(text.size()), &size, nullptr),
        0);
    input.writer.reset();
    EXPECT_EQ(readToEnd(output.reader.get()), text);
    EXPECT_EQ(launcher.wait(), 0U);
}

TEST(Launcher, Killed_TakesTheProgramWithIt) {
    const MendedProcess launcher =
        startMended(launchCommandLine(L"own-port " + std::to_wstring(reservedNumber)));
    const PortControl port(reservedNumber);
    port.await(PortFlag::present);
    launcher.kill();
    port.await(PortFlag::present, false);
    EXPECT_EQ(port.state().flags, 0U);
}

} // namespace ridge::simulator::tests
