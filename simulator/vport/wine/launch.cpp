// ridge-launch PROGRAM [ARGUMENT...]: runs a program with the Wine mend loaded into it. The
// standard handles are the program's own, and so is the exit code; the program ends with the
// launcher.

#include "mendedprocess.h"

#include <cwchar>
#include <exception>
#include <iostream>
#include <string>

#include <windows.h>

namespace {

constexpr int usageError = 2;
constexpr int startError = 127;

// The command line without the launcher's own name, its quoting untouched.
std::wstring programCommandLine() {
    const wchar_t* rest = GetCommandLineW();
    bool quoted = false;
    while (*rest != L'\0' && (quoted || (*rest != L' ' && *rest != L'\t'))) {
        quoted = *rest == L'"' ? !quoted : quoted;
        ++rest;
    }
    return rest + std::wcsspn(rest, L" \t");
}

// The program gets the console's signals itself; the launcher lives on for its exit code.
BOOL WINAPI ignoreSignal(DWORD signal) {
    return signal == CTRL_C_EVENT || signal == CTRL_BREAK_EVENT ? TRUE : FALSE;
}

} // namespace

int main() {
    const std::wstring commandLine = programCommandLine();
    if (commandLine.empty()) {
        std::cerr << "usage: ridge-launch PROGRAM [ARGUMENT...]\n";
        return usageError;
    }
    SetConsoleCtrlHandler(&ignoreSignal, TRUE);
    try {
        return static_cast<int>(ridge::simulator::startMended(commandLine).wait());
    } catch (const std::exception& error) {
        std::cerr << "ridge-launch: " << error.what() << '\n';
        return startError;
    }
}
