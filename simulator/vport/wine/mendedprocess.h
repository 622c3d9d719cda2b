#pragma once

#include "../scopedhandle.h"

#include <filesystem>
#include <string>

namespace ridge::simulator {

struct StandardHandles {
    HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    HANDLE error = GetStdHandle(STD_ERROR_HANDLE);
};

// A running child process. It ends with this object at the latest, and with the calling process.
class MendedProcess {
public:
    HANDLE handle() const { return process.get(); }
    unsigned long id() const { return GetProcessId(process.get()); }

    // Waits for the end and gives the exit code.
    unsigned long wait() const;
    // Ends the process as a crash would and waits until it is gone.
    void kill() const;

private:
    friend MendedProcess startMended(std::wstring commandLine, const StandardHandles& handles,
                                     const std::filesystem::path& mendLibrary);

    ScopedHandle job;
    ScopedHandle process;
};

// ridge-wine-mend.dll in the folder of the running program.
std::filesystem::path mendLibraryBesideProgram();

// Starts a program; under Wine with the mend library loaded before its first instruction. Throws
// std::system_error.
MendedProcess startMended(std::wstring commandLine,
                          const StandardHandles& handles = StandardHandles(),
                          const std::filesystem::path& mendLibrary = mendLibraryBesideProgram());

} // namespace ridge::simulator
