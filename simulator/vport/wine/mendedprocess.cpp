#include "mendedprocess.h"

#include "../programfolder.h"
#include "../systemfailure.h"
#include "ntfunctions.h"

#include <stdexcept>

namespace ridge::simulator {

namespace {

ScopedHandle createKillingJob() {
    ScopedHandle job(CreateJobObjectW(nullptr, nullptr));
    if (!job) {
        throwSystemFailure("cannot create a job");
    }
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits,
                                sizeof(limits)) == 0) {
        throwSystemFailure("cannot tie a process's life to a job");
    }
    return job;
}

void makeInheritable(HANDLE handle) {
    // Console handles may refuse: they are inherited anyway.
    SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
}

/// Seen on a busy machine: Wine gives a new process up before it has begun. Nothing has been
/// started then, and it may be tried again.
bool mayBeTriedAgain(DWORD error) {
    return error == ERROR_INTERNAL_ERROR && isWine();
}

PROCESS_INFORMATION createSuspended(std::wstring& commandLine, STARTUPINFOW& startup) {
    constexpr int mostTries = 3;
    PROCESS_INFORMATION created{};
    for (int tries = 1; CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE,
                                       CREATE_SUSPENDED, nullptr, nullptr, &startup, &created) == 0;
         ++tries) {
        const DWORD error = GetLastError();
        if (tries == mostTries || !mayBeTriedAgain(error)) {
            throwSystemFailure("cannot start the program", error);
        }
    }
    return created;
}

void loadLibrary(HANDLE process, const std::filesystem::path& library) {
    if (!std::filesystem::exists(library)) {
        throw std::runtime_error("there is no " + library.string());
    }
    const std::wstring name = library.wstring();
    const SIZE_T size = (name.size() + 1) * sizeof(wchar_t);
    void* remoteName =
        VirtualAllocEx(process, nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    if (remoteName == nullptr ||
        WriteProcessMemory(process, remoteName, name.c_str(), size, nullptr) == 0) {
        throwSystemFailure("cannot write to the new process");
    }
    // kernel32 has the same address in every process.
    const auto load = reinterpret_cast<LPTHREAD_START_ROUTINE>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernel32.dll"), "LoadLibraryW")));
    const ScopedHandle thread(
        CreateRemoteThread(process, nullptr, 0, load, remoteName, 0, nullptr));
    if (!thread) {
        throwSystemFailure("cannot start a thread in the new process");
    }
    WaitForSingleObject(thread.get(), INFINITE);
    DWORD loaded = 0;
    if (GetExitCodeThread(thread.get(), &loaded) == 0 || loaded == 0) {
        throw std::runtime_error("the new process cannot load " + library.string());
    }
    VirtualFreeEx(process, remoteName, 0, MEM_RELEASE);
}

} // namespace

unsigned long MendedProcess::wait() const {
    WaitForSingleObject(process.get(), INFINITE);
    DWORD exitCode = 0;
    if (GetExitCodeProcess(process.get(), &exitCode) == 0) {
        throwSystemFailure("cannot get the exit code of a process");
    }
    return exitCode;
}

void MendedProcess::kill() const {
    TerminateProcess(process.get(), 1);
    WaitForSingleObject(process.get(), INFINITE);
}

std::filesystem::path mendLibraryBesideProgram() {
    return programFolder() / "ridge-wine-mend.dll";
}

MendedProcess startMended(std::wstring commandLine, const StandardHandles& handles,
                          const std::filesystem::path& mendLibrary) {
    MendedProcess started;
    started.job = createKillingJob();

    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = handles.input;
    startup.hStdOutput = handles.output;
    startup.hStdError = handles.error;
    for (HANDLE handle : {handles.input, handles.output, handles.error}) {
        makeInheritable(handle);
    }
    const PROCESS_INFORMATION created = createSuspended(commandLine, startup);
    started.process.reset(created.hProcess);
    const ScopedHandle thread(created.hThread);
    try {
        if (AssignProcessToJobObject(started.job.get(), created.hProcess) == 0) {
            throwSystemFailure("cannot put a process into a job");
        }
        if (isWine()) {
            loadLibrary(created.hProcess, std::filesystem::absolute(mendLibrary));
        }
    } catch (...) {
        started.kill();
        throw;
    }
    ResumeThread(thread.get());
    return started;
}

} // namespace ridge::simulator
