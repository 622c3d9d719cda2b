#include "importedcalls.h"

#include "account.h"
#include "importtable.h"
#include "symboltable.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <process.h>
#include <windows.h>

#include <cfgmgr32.h>
#include <setupapi.h>

namespace ridge::test {
namespace {

HMODULE library() {
    return GetModuleHandleA("ridge-sdk.dll");
}

/// A function inside the DLL: of the library, or of the C, C++ and thread runtime that is linked
/// into it.
struct Function {
    std::string name;
    bool ofLibrary;
};

const Function& functionAround(const void* place) {
    static const SymbolTable symbols(library());
    static std::mutex mutex;
    static std::map<const void*, Function> known;
    const std::lock_guard lock(mutex);
    const auto found = known.find(place);
    if (found != known.end()) {
        return found->second;
    }
    const std::string name = symbols.functionAt(place);
    const bool ofLibrary = name.starts_with("ridge") || name.find("5ridge") != std::string::npos;
    return known.emplace(place, Function{name, ofLibrary}).first->second;
}

/// What has called, from the innermost outwards; the first ones are the test's own.
std::vector<const void*> callingPlaces() {
    std::array<void*, 32> places{};
    const USHORT count =
        RtlCaptureStackBackTrace(0, static_cast<DWORD>(places.size()), places.data(), nullptr);
    return std::vector<const void*>(places.begin(), places.begin() + count);
}

/// The place in the library that the runtime works for, and the runtime's function that is called
/// there.
struct Order {
    const void* place = nullptr;
    std::string function;
};

Order orderOfLibrary() {
    Order order;
    for (const void* place : callingPlaces()) {
        const Function& function = functionAround(place);
        if (function.ofLibrary) {
            order.place = place;
            return order;
        }
        order.function = function.name;
    }
    return {};
}

constexpr std::string_view startThread =
    "_ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE";

/// Whether the runtime reports to the library that its call has failed, or tries again later. Its
/// other calls are for its locks, its records of threads and of what belongs to a thread, for
/// throwing exceptions and for joining and ending threads: no program survives when they fail.
bool isReported(const std::string& runtimeFunction) {
    if (runtimeFunction == "pop_pthread_mem") {
        return orderOfLibrary().function == startThread;
    }
    return runtimeFunction == "_Znwy" || runtimeFunction == "__cxa_allocate_exception" ||
           runtimeFunction == "pthread_create";
}

/// The runtime keeps what these acquire for the next time.
constexpr auto keepingRuntime = std::to_array<std::string_view>(
    {"pop_pthread_mem", "__pthread_register_pointer", "__emutls_get_address", "pthread_setspecific",
     "__pthread_self_lite", "__pthread_self_lite.part.0", "pthread_mutex_lock",
     "_register_onexit_function"});

template <std::size_t size>
bool contains(const std::array<std::string_view, size>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

/// The runtime has memory of its own for an exception.
bool hasAnotherWay(const std::string& runtimeFunction) {
    return runtimeFunction == "__cxa_allocate_exception";
}

/// From the functions of the library that the calling one runs in.
Purpose purposeOfCall() {
    for (const void* place : callingPlaces()) {
        const std::string& name = functionAround(place).name;
        if (name.find("5ridge10logMessage") != std::string::npos) {
            return Purpose::none;
        }
        if (name.find("11receiveLoop") != std::string::npos ||
            name.find("12dispatchLoop") != std::string::npos) {
            return Purpose::port;
        }
    }
    return Purpose::operation;
}

std::optional<DWORD> refusalOf(CallKind kind, const char* name, const void* place) {
    Account* const account = Account::ofThisThread();
    if (account == nullptr) {
        return std::nullopt;
    }
    const Function& caller = functionAround(place);
    if (!caller.ofLibrary && !isReported(caller.name)) {
        return std::nullopt;
    }
    const CallSite site{name, caller.ofLibrary ? place : orderOfLibrary().place};
    const std::optional<Strike> strike = account->refusalOf(kind, site);
    if (!strike) {
        return std::nullopt;
    }
    account->noteRefused(
        {site, strike->number, hasAnotherWay(caller.name) ? Purpose::none : purposeOfCall()});
    return strike->error;
}

void noteAcquired(const char* name, const void* resource, const void* place) {
    Account* const account = Account::ofThisThread();
    if (account != nullptr && !contains(keepingRuntime, functionAround(place).name)) {
        const DWORD error = GetLastError();
        account->acquired(resource, describe({name, place}) + " for " +
                                        functionAround(orderOfLibrary().place).name);
        SetLastError(error);
    }
}

template <std::size_t size>
struct Name {
    constexpr Name(const char (&text)[size]) { std::copy_n(text, size, characters.begin()); }

    std::array<char, size> characters{};
};

/// Whether a call that fails is made nevertheless: what it gives back would otherwise stay, or its
/// operation go on, through no fault of the library.
constexpr auto notMade = [](auto...) { return false; };
constexpr auto made = [](auto...) { return true; };

/// What a call that succeeds does to a resource.
enum class Effect { none, acquiresResult, releasesFirst };

template <Name name, auto failure, auto isMade, Effect effect, CallKind kind,
          typename FunctionPointer>
struct Replacement;

template <Name name, auto failure, auto isMade, Effect effect, CallKind kind, typename Result,
          typename... Arguments>
struct Replacement<name, failure, isMade, effect, kind, Result(WINAPI*)(Arguments...)> {
    static constexpr const char* functionName = name.characters.data();
    static inline Result(WINAPI* original)(Arguments...);

    static Result WINAPI call(Arguments... arguments) {
        const void* const place = __builtin_return_address(0);
        const std::optional<DWORD> refusal = refusalOf(kind, functionName, place);
        if (!refusal) {
            return succeed(place, arguments...);
        }
        if (isMade(arguments...)) {
            succeed(place, arguments...);
        }
        SetLastError(*refusal);
        return static_cast<Result>(failure(*refusal));
    }

private:
    static Result succeed(const void* place, Arguments... arguments) {
        if constexpr (effect == Effect::releasesFirst) {
            // Before the system can give the same one to somebody else.
            release(arguments...);
        }
        const Result result = original(arguments...);
        if constexpr (effect == Effect::acquiresResult) {
            if (result != static_cast<Result>(failure(ERROR_SUCCESS))) {
                noteAcquired(functionName, result, place);
            }
        }
        return result;
    }

    template <typename First, typename... Rest>
    static void release(First first, Rest...) {
        Account::released(first);
    }
};

struct ImportedCall {
    const char* name;
    void* replacement;
    /// Takes the address that stood there.
    void** original;
};

template <Name name, auto failure, auto isMade = notMade, Effect effect = Effect::none,
          CallKind kind = CallKind::system, typename FunctionPointer>
ImportedCall refusable(FunctionPointer) {
    using Call = Replacement<name, failure, isMade, effect, kind, FunctionPointer>;
    return {Call::functionName, reinterpret_cast<void*>(&Call::call),
            reinterpret_cast<void**>(&Call::original)};
}

constexpr auto zero = [](DWORD) { return 0; };
constexpr auto null = [](DWORD) { return nullptr; };
constexpr auto minusOne = [](DWORD) { return -1; };
constexpr auto invalidHandle = [](DWORD) { return INVALID_HANDLE_VALUE; };
constexpr auto invalidKey = [](DWORD) { return reinterpret_cast<HKEY>(INVALID_HANDLE_VALUE); };
constexpr auto waitFailed = [](DWORD) { return WAIT_FAILED; };
constexpr auto itsError = [](DWORD error) { return static_cast<LSTATUS>(error); };
constexpr auto configurationFailure = [](DWORD) { return CR_FAILURE; };
/// The record must not go before the operation has ended: a wait for that always waits.
constexpr auto madeIfWaiting = [](HANDLE, OVERLAPPED*, DWORD*, BOOL wait) { return wait != FALSE; };

/// The text belongs to the caller.
struct MessageText {
    static inline decltype(&FormatMessageA) original;

    static DWORD WINAPI call(DWORD flags, const void* source, DWORD message, DWORD language,
                             char* buffer, DWORD size, va_list* arguments) {
        const void* const place = __builtin_return_address(0);
        if (const auto refusal = refusalOf(CallKind::system, "FormatMessageA", place)) {
            SetLastError(*refusal);
            return 0;
        }
        const DWORD length = original(flags, source, message, language, buffer, size, arguments);
        if (length != 0 && (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0) {
            noteAcquired("FormatMessageA", *reinterpret_cast<char**>(buffer), place);
        }
        return length;
    }
};

/// A wait that fails is one that has ended without a notification: meanwhile others have had the
/// lock.
struct ConditionWait {
    static inline decltype(&SleepConditionVariableSRW) original;

    static BOOL WINAPI call(CONDITION_VARIABLE* condition, SRWLOCK* lock, DWORD time, ULONG flags) {
        const void* const place = __builtin_return_address(0);
        const auto refusal = refusalOf(CallKind::system, "SleepConditionVariableSRW", place);
        if (!refusal) {
            return original(condition, lock, time, flags);
        }
        constexpr DWORD shortest = 1;
        original(condition, lock, shortest, flags);
        SetLastError(*refusal);
        return FALSE;
    }
};

/// A thread of the library belongs to the account of the thread that starts it.
struct BeginThread {
    using Start = unsigned(__stdcall*)(void*);
    struct Work {
        Account* account;
        Start start;
        void* argument;
    };

    static inline decltype(&_beginthreadex) original;

    static std::uintptr_t call(void* security, unsigned stackSize, Start start, void* argument,
                               unsigned flags, unsigned* identifier) {
        const void* const place = __builtin_return_address(0);
        Account* const account = Account::ofThisThread();
        if (account == nullptr) {
            return original(security, stackSize, start, argument, flags, identifier);
        }
        if (const auto refusal = refusalOf(CallKind::system, "_beginthreadex", place)) {
            SetLastError(*refusal);
            errno = EAGAIN;
            return 0;
        }
        auto work = std::make_unique<Work>(Work{account, start, argument});
        const std::uintptr_t result =
            original(security, stackSize, &run, work.get(), flags, identifier);
        if (result != 0) {
            work.release();
            const auto thread = reinterpret_cast<HANDLE>(result);
            noteAcquired("_beginthreadex", thread, place);
            HANDLE own = nullptr;
            DuplicateHandle(GetCurrentProcess(), thread, GetCurrentProcess(), &own, 0, FALSE,
                            DUPLICATE_SAME_ACCESS);
            account->startedThread(own);
        }
        return result;
    }

    static unsigned __stdcall run(void* argument) {
        const std::unique_ptr<Work> work(static_cast<Work*>(argument));
        work->account->adoptThisThread();
        return work->start(work->argument);
    }
};

struct Allocation {
    static inline decltype(&std::malloc) originalMalloc;
    static inline decltype(&std::calloc) originalCalloc;
    static inline decltype(&std::realloc) originalRealloc;
    static inline decltype(&std::free) originalFree;

    static void* malloc(std::size_t size) {
        const void* const place = __builtin_return_address(0);
        return acquire("malloc", place, [&] { return originalMalloc(size); });
    }

    static void* calloc(std::size_t count, std::size_t size) {
        const void* const place = __builtin_return_address(0);
        return acquire("calloc", place, [&] { return originalCalloc(count, size); });
    }

    static void* realloc(void* block, std::size_t size) {
        const void* const place = __builtin_return_address(0);
        return acquire("realloc", place, [&] {
            Account::released(block);
            return originalRealloc(block, size);
        });
    }

    static void free(void* block) {
        Account::released(block);
        originalFree(block);
    }

private:
    template <typename Original>
    static void* acquire(const char* name, const void* place, const Original& allocate) {
        if (refusalOf(CallKind::allocation, name, place)) {
            return nullptr;
        }
        void* const block = allocate();
        if (block != nullptr) {
            noteAcquired(name, block, place);
        }
        return block;
    }
};

template <typename FunctionPointer>
ImportedCall watched(const char* name, FunctionPointer replacement, FunctionPointer* original) {
    return {name, reinterpret_cast<void*>(replacement), reinterpret_cast<void**>(original)};
}

std::vector<ImportedCall> watchedCalls() {
    return {
        refusable<"CM_Get_DevNode_Status", configurationFailure>(&CM_Get_DevNode_Status),
        refusable<"CM_Get_Device_IDA", configurationFailure>(&CM_Get_Device_IDA),
        // Not reached under Wine, where the call before it always fails.
        refusable<"CM_Get_Parent", configurationFailure>(&CM_Get_Parent),
        refusable<"CancelIo", zero, made>(&CancelIo),
        refusable<"CloseHandle", zero, made, Effect::releasesFirst>(&CloseHandle),
        refusable<"CreateEventA", null, notMade, Effect::acquiresResult>(&CreateEventA),
        refusable<"CreateFileA", invalidHandle, notMade, Effect::acquiresResult>(&CreateFileA),
        refusable<"GetCommState", zero>(&GetCommState),
        refusable<"GetModuleHandleExA", zero>(&GetModuleHandleExA),
        refusable<"GetOverlappedResult", zero, madeIfWaiting>(&GetOverlappedResult),
        refusable<"LocalFree", null, made, Effect::releasesFirst>(&LocalFree),
        refusable<"PurgeComm", zero>(&PurgeComm),
        refusable<"ReadFile", zero>(&ReadFile),
        refusable<"RegCloseKey", itsError, made, Effect::releasesFirst>(&RegCloseKey),
        refusable<"RegQueryValueExA", itsError>(&RegQueryValueExA),
        refusable<"SetCommMask", zero>(&SetCommMask),
        refusable<"SetCommState", zero>(&SetCommState),
        refusable<"SetCommTimeouts", zero>(&SetCommTimeouts),
        refusable<"SetEvent", zero, notMade, Effect::none, CallKind::fatal>(&SetEvent),
        refusable<"SetupDiDestroyDeviceInfoList", zero, made, Effect::releasesFirst>(
            &SetupDiDestroyDeviceInfoList),
        refusable<"SetupDiEnumDeviceInfo", zero>(&SetupDiEnumDeviceInfo),
        refusable<"SetupDiGetClassDevsA", invalidHandle, notMade, Effect::acquiresResult>(
            &SetupDiGetClassDevsA),
        refusable<"SetupDiGetDeviceRegistryPropertyA", zero>(&SetupDiGetDeviceRegistryPropertyA),
        refusable<"SetupDiOpenDevRegKey", invalidKey, notMade, Effect::acquiresResult>(
            &SetupDiOpenDevRegKey),
        refusable<"WaitCommEvent", zero>(&WaitCommEvent),
        refusable<"WaitForMultipleObjects", waitFailed>(&WaitForMultipleObjects),
        refusable<"WaitForSingleObject", waitFailed>(&WaitForSingleObject),
        refusable<"WriteFile", zero>(&WriteFile),
        refusable<"_localtime64", null>(&_localtime64),
        refusable<"_time64", minusOne>(&_time64),
        refusable<"strftime", zero>(&std::strftime),
        watched("FormatMessageA", &MessageText::call, &MessageText::original),
        watched("SleepConditionVariableSRW", &ConditionWait::call, &ConditionWait::original),
        watched("_beginthreadex", &BeginThread::call, &BeginThread::original),
        watched("malloc", &Allocation::malloc, &Allocation::originalMalloc),
        watched("calloc", &Allocation::calloc, &Allocation::originalCalloc),
        watched("realloc", &Allocation::realloc, &Allocation::originalRealloc),
        watched("free", &Allocation::free, &Allocation::originalFree),
    };
}

/// They cannot fail, or end the program.
constexpr auto unfailing = std::to_array<std::string_view>({
    "AcquireSRWLockExclusive",
    "DeleteCriticalSection",
    "EnterCriticalSection",
    "GetCurrentProcess",
    "GetCurrentProcessId",
    "GetCurrentThread",
    "GetCurrentThreadId",
    "GetLastError",
    "GetSystemTimeAsFileTime",
    "GetTickCount64",
    "InitializeCriticalSection",
    "IsDBCSLeadByteEx",
    "IsDebuggerPresent",
    "LeaveCriticalSection",
    "OutputDebugStringA",
    "QueryPerformanceCounter",
    "QueryPerformanceFrequency",
    "RaiseException",
    "ReleaseSRWLockExclusive",
    "RtlCaptureContext",
    "RtlLookupFunctionEntry",
    "RtlUnwindEx",
    "RtlVirtualUnwind",
    "SetLastError",
    "Sleep",
    "TlsGetValue",
    "TryEnterCriticalSection",
    "WakeAllConditionVariable",
    "WakeConditionVariable",
    "__C_specific_handler",
    "___lc_codepage_func",
    "___mb_cur_max_func",
    "__iob_func",
    "_amsg_exit",
    "_endthreadex",
    "_errno",
    "_exit",
    "_initterm",
    "_lock",
    "_setjmp",
    "_ultoa",
    "_unlock",
    "abort",
    "exit",
    "localeconv",
    "longjmp",
    "memchr",
    "memcmp",
    "memcpy",
    "memmove",
    "memset",
    "strcmp",
    "strerror",
    "strlen",
    "strncmp",
    "wcslen",
    "signal",
});

/// Only the runtime calls them, as check_runtime_calls.cmake makes sure: to start up and to end, to
/// lock, to wait and to end threads, and to write its last words.
constexpr auto ofRuntime = std::to_array<std::string_view>({
    "AddVectoredExceptionHandler",
    "CreateSemaphoreA",
    "CryptAcquireContextA",
    "CryptGenRandom",
    "CryptReleaseContext",
    "DuplicateHandle",
    "FileTimeToSystemTime",
    "GetHandleInformation",
    "GetModuleHandleA",
    "GetModuleHandleW",
    "GetProcAddress",
    "GetProcessAffinityMask",
    "GetProcessTimes",
    "GetSystemTimeAdjustment",
    "GetThreadContext",
    "GetThreadPriority",
    "GetThreadTimes",
    "LoadLibraryW",
    "MultiByteToWideChar",
    "OpenProcess",
    "ReleaseSemaphore",
    "RemoveVectoredExceptionHandler",
    "ResetEvent",
    "ResumeThread",
    "SetProcessAffinityMask",
    "SetSystemTime",
    "SetThreadContext",
    "SetThreadPriority",
    "SuspendThread",
    "TlsAlloc",
    "TlsSetValue",
    "VirtualProtect",
    "VirtualQuery",
    "WideCharToMultiByte",
    "_close",
    "_open",
    "_read",
    "_strdup",
    "_write",
    "fprintf",
    "fputc",
    "fputs",
    "fwrite",
    "printf",
    "vfprintf",
});

} // namespace

void watchImportedCalls() {
    for (const ImportedCall& call : watchedCalls()) {
        for (const simulator::ImportedFunction& imported :
             simulator::importedFunctions(library())) {
            if (std::string_view(imported.name) == call.name) {
                *call.original = reinterpret_cast<void*>(*imported.slot);
                simulator::redirect(imported, call.replacement);
            }
        }
    }
}

std::vector<std::string> undecidedImports() {
    const std::vector<ImportedCall> calls = watchedCalls();
    std::vector<std::string> undecided;
    for (const simulator::ImportedFunction& imported : simulator::importedFunctions(library())) {
        const std::string_view name = imported.name;
        const bool isWatched = std::any_of(calls.begin(), calls.end(),
                                           [&](const auto& call) { return call.name == name; });
        if (!isWatched && !contains(unfailing, name) && !contains(ofRuntime, name)) {
            undecided.emplace_back(name);
        }
    }
    return undecided;
}

std::string callerAt(const CallSite& site) {
    return functionAround(site.place).name;
}

std::string describe(const CallSite& site) {
    return std::string(site.function) + " in " + callerAt(site);
}

} // namespace ridge::test
