#include "processend.h"

#include "../scopedhandle.h"
#include "importtable.h"
#include "ntfunctions.h"

#include <windows.h>

#include <tlhelp32.h>
#include <winternl.h>

namespace ridge::simulator {

namespace {

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

// Ends this thread together with the others. TerminateProcess would leave it some time, in which
// the system may have it complete a request of a thread that is gone.
[[noreturn]] void endAllAtOnce(UINT status) {
    const ScopedHandle job(CreateJobObjectW(nullptr, nullptr));
    if (AssignProcessToJobObject(job.get(), GetCurrentProcess()) != 0) {
        TerminateJobObject(job.get(), status);
    }
    for (;;) {
        TerminateProcess(GetCurrentProcess(), status);
    }
}

void NTAPI exitProcess(NTSTATUS status) {
    const auto shutDown = ntFunction<void(NTAPI*)()>("LdrShutdownProcess");
    // The libraries may need these in their end: no thread must come to rest with one of them.
    ULONG_PTR cookie = 0;
    ntFunction<NTSTATUS(NTAPI*)(ULONG, ULONG*, ULONG_PTR*)>("LdrLockLoaderLock")(0, nullptr,
                                                                                 &cookie);
    ntFunction<void(NTAPI*)()>("RtlAcquirePebLock")();
    bringOthersToRest();
    shutDown();
    endAllAtOnce(static_cast<UINT>(status));
}

} // namespace

void mendProcessEnd() {
    if (!isWine()) {
        return;
    }
    for (const char* library : {"kernel32.dll", "kernelbase.dll"}) {
        replaceImport(GetModuleHandleA(library), "RtlExitUserProcess",
                      reinterpret_cast<void*>(&exitProcess));
    }
}

} // namespace ridge::simulator
