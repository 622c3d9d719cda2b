#include "processend.h"

#include "../scopedhandle.h"
#include "importtable.h"
#include "ntfunctions.h"

#include <windows.h>

#include <tlhelp32.h>
#include <winternl.h>

namespace ridge::simulator {

namespace {

using ExitFunction = void(NTAPI*)(NTSTATUS);

ExitFunction original;

void bringToRest(DWORD threadId) {
    const ScopedHandle thread(
        OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT, FALSE, threadId));
    if (thread && SuspendThread(thread.get()) != static_cast<DWORD>(-1)) {
        // There is none before the thread stands still.
        CONTEXT context{};
        context.ContextFlags = CONTEXT_CONTROL;
        GetThreadContext(thread.get(), &context);
    }
}

void bringOthersToRest() {
    const ScopedHandle threads = validHandle(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL found = Thread32First(threads.get(), &entry); found != 0;
         found = Thread32Next(threads.get(), &entry)) {
        if (entry.th32OwnerProcessID == GetCurrentProcessId() &&
            entry.th32ThreadID != GetCurrentThreadId()) {
            bringToRest(entry.th32ThreadID);
        }
    }
}

void NTAPI exitProcess(NTSTATUS status) {
    // What exiting takes next: a thread must not come to rest with one of these.
    ULONG_PTR cookie = 0;
    ntFunction<NTSTATUS(NTAPI*)(ULONG, ULONG*, ULONG_PTR*)>("LdrLockLoaderLock")(0, nullptr,
                                                                                 &cookie);
    ntFunction<void(NTAPI*)()>("RtlAcquirePebLock")();
    bringOthersToRest();
    original(status);
}

} // namespace

void mendProcessEnd() {
    if (!isWine()) {
        return;
    }
    original = ntFunction<ExitFunction>("RtlExitUserProcess");
    for (const char* library : {"kernel32.dll", "kernelbase.dll"}) {
        replaceImport(GetModuleHandleA(library), "RtlExitUserProcess",
                      reinterpret_cast<void*>(&exitProcess));
    }
}

} // namespace ridge::simulator
