#pragma once

#include "mendedprocess.h"
#include "scopedhandle.h"

#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace ridge::test {

/// A program of the build's own folder, run with mended Wine and with its standard input and
/// output at hand.
class ChildProcess {
public:
    /// `onLine` is called for each line of the output, on a thread that reads all the time, so that
    /// the program never waits for a test to listen.
    ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                 std::function<void(std::string)> onLine);
    /// Ends the program's input and waits for its end.
    ~ChildProcess();

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Writes a line to the program's standard input.
    void writeLine(const std::string& line);
    void endInput() { input.reset(); }
    /// Signalled when the program has ended.
    [[nodiscard]] HANDLE handle() const { return process->handle(); }
    /// Ends the program as a crash would.
    void kill() { process->kill(); }
    /// Waits for the program's end and that of its output, and gives its exit status.
    unsigned long wait();

private:
    void readOutput(const std::function<void(std::string)>& onLine);

    simulator::ScopedHandle input;
    simulator::ScopedHandle output;
    std::unique_ptr<simulator::MendedProcess> process;
    std::thread reader;
};

struct ProgramResult {
    unsigned long exitStatus = 0;
    /// Standard output and standard error, as they came.
    std::string output;
};

/// Runs a program to its end.
ProgramResult runProgram(const std::string& program, const std::vector<std::string>& arguments);

/// Where the programs of the build are.
std::filesystem::path programFolder();

} // namespace ridge::test
