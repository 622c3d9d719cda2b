#include "consoleinterruption.h"

#include <windows.h>

#include <atomic>
#include <exception>

namespace ridge::tool {
namespace {

std::atomic<Interruption*> target;

/// Runs on a thread of the system's own.
BOOL WINAPI onConsoleEvent(DWORD event) {
    Interruption* const interruption = target;
    if ((event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) || interruption == nullptr) {
        return FALSE;
    }
    try {
        if (interruption->requested()) {
            return FALSE;
        }
        interruption->request();
        return TRUE;
    } catch (const std::exception&) {
        return FALSE;
    }
}

} // namespace

ConsoleInterruption::ConsoleInterruption(Interruption& interruption) {
    target = &interruption;
    SetConsoleCtrlHandler(onConsoleEvent, TRUE);
}

ConsoleInterruption::~ConsoleInterruption() {
    SetConsoleCtrlHandler(onConsoleEvent, FALSE);
    target = nullptr;
}

} // namespace ridge::tool
