#include "fakewin32.h"

#include "printfformat.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <thread>
#include <utility>

#include <process.h>

namespace ridge::test {
namespace {

/// A system function whose import this program replaces. Found without the runtime's help, which
/// may be the caller.
template <typename Function>
class RealFunction {
public:
    constexpr RealFunction(const char* libraryName, const char* functionName)
        : library(libraryName), name(functionName) {}

    template <typename... Arguments>
    auto operator()(Arguments... arguments) const {
        Function* function = found;
        if (function == nullptr) {
            const FARPROC address = GetProcAddress(GetModuleHandleA(library), name);
            function = reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(address));
            found = function;
        }
        return function(arguments...);
    }

private:
    const char* library;
    const char* name;
    mutable std::atomic<Function*> found{nullptr};
};

constexpr const char* kernel = "kernel32.dll";
constexpr const char* runtime = "msvcrt.dll";

constinit const RealFunction<decltype(CreateFileA)> realCreateFile{kernel, "CreateFileA"};
constinit const RealFunction<decltype(CreateEventA)> realCreateEvent{kernel, "CreateEventA"};
constinit const RealFunction<decltype(CloseHandle)> realCloseHandle{kernel, "CloseHandle"};
constinit const RealFunction<decltype(SetEvent)> realSetEvent{kernel, "SetEvent"};
constinit const RealFunction<decltype(WaitForSingleObject)> realWaitForSingleObject{
    kernel, "WaitForSingleObject"};
constinit const RealFunction<decltype(WaitForMultipleObjects)> realWaitForMultipleObjects{
    kernel, "WaitForMultipleObjects"};
constinit const RealFunction<decltype(PurgeComm)> realPurgeComm{kernel, "PurgeComm"};
constinit const RealFunction<decltype(GetCommState)> realGetCommState{kernel, "GetCommState"};
constinit const RealFunction<decltype(SetCommState)> realSetCommState{kernel, "SetCommState"};
constinit const RealFunction<decltype(SetCommTimeouts)> realSetCommTimeouts{kernel,
                                                                            "SetCommTimeouts"};
constinit const RealFunction<decltype(SetCommMask)> realSetCommMask{kernel, "SetCommMask"};
constinit const RealFunction<decltype(WaitCommEvent)> realWaitCommEvent{kernel, "WaitCommEvent"};
constinit const RealFunction<decltype(ReadFile)> realReadFile{kernel, "ReadFile"};
constinit const RealFunction<decltype(WriteFile)> realWriteFile{kernel, "WriteFile"};
constinit const RealFunction<decltype(GetOverlappedResult)> realGetOverlappedResult{
    kernel, "GetOverlappedResult"};
constinit const RealFunction<decltype(CancelIo)> realCancelIo{kernel, "CancelIo"};
// The last one is a va_list*, whose attributes a template argument cannot have.
using FormatMessageFunction = DWORD(DWORD, const void*, DWORD, DWORD, char*, DWORD, void*);
constinit const RealFunction<FormatMessageFunction> realFormatMessage{kernel, "FormatMessageA"};
constinit const RealFunction<decltype(LocalFree)> realLocalFree{kernel, "LocalFree"};
constinit const RealFunction<decltype(GetModuleHandleExA)> realGetModuleHandleEx{
    kernel, "GetModuleHandleExA"};
constinit const RealFunction<decltype(_beginthreadex)> realBeginThread{runtime, "_beginthreadex"};

/// What a driver puts into the record of an operation that it leaves pending.
constexpr ULONG_PTR pendingStatus = 0x103;

struct Handle {
    /// Kept until the model goes, so that the system gives the value to nobody else.
    HANDLE value;
    std::string name;
    bool open;
};

struct Operation {
    OVERLAPPED* record;
    /// The outcome of a wait for the port's event; null for other operations.
    DWORD* eventMask;
    DWORD thread;
    /// How many bytes a write asked for.
    DWORD size;
    bool cancelRequested;
    bool cancelled;
    bool ended;
    DWORD error;
    DWORD transferred;
};

struct PlannedAnswer {
    DWORD error;
    /// For waits.
    DWORD result;
    bool outOfMemory;
};

enum class Texts { made, fixed, systems, none };
enum class Writes { atOnce, pending, ending, failing, cut };

} // namespace

struct FakeWin32::Model {
    explicit Model(PortJournal& usedJournal) : journal(usedJournal) {}

    void enter(std::string text) { journal.add(PortJournal::Kind::call, std::move(text)); }
    void misuse(std::string text) { misuseTexts.push_back(std::move(text)); }

    HANDLE makeHandle(std::string name);
    Handle* find(HANDLE value);
    std::string nameOf(HANDLE value);
    /// Whether the call concerns the port. Enters the misuse if the handle has been closed.
    bool owns(HANDLE value, const char* function);

    std::optional<PlannedAnswer> takeAnswer(Call call);
    /// Leaves the planned last error behind when the call is to fail.
    bool succeeds(Call call);

    Operation* findOperation(const OVERLAPPED* record);
    Operation* findPendingEventWait();
    void start(OVERLAPPED* record, DWORD* eventMask, DWORD size);
    void end(Operation& operation, DWORD error, DWORD transferred);
    void checkRecord(const OVERLAPPED& record, const char* function);
    void giveUpPending();
    void arrive(Bytes bytes);
    void endWaitedWrite(Operation& operation);

    PortJournal& journal;
    DWORD openingThread = GetCurrentThreadId();
    bool opening = true;
    std::vector<Handle> handles;
    std::deque<Operation> operations;
    std::map<Call, int> invocations;
    std::map<std::pair<Call, int>, PlannedAnswer> answers;
    std::vector<std::string> misuseTexts;

    Texts texts = Texts::made;
    std::string fixedText;
    std::vector<std::string> textRequests;
    std::set<const void*> textBuffers;

    DCB driverSettings{};
    DCB appliedSettings{};
    std::deque<Bytes> arrivals;
    std::deque<Bytes> arrivalsAfterPurge;
    /// A byte has come in since the last wait for it.
    bool eventWaits = false;
    bool nextReadPends = false;
    std::vector<const std::uint8_t*> readTargets;
    Writes writes = Writes::atOnce;
    DWORD writeError = 0;
    DWORD writeCount = 0;
    Bytes written;
    std::vector<HANDLE> threads;
};

namespace {

/// Guards `installed` and all that it leads to.
constinit Mutex modelLock;
constinit FakeWin32::Model* installed = nullptr;

bool concernsPort(HANDLE handle, const char* function) {
    return installed != nullptr && installed->owns(handle, function);
}

const char* orNull(const void* pointer) {
    return pointer == nullptr ? "null" : "given";
}

} // namespace

HANDLE FakeWin32::Model::makeHandle(std::string name) {
    const HANDLE value = realCreateEvent(nullptr, TRUE, FALSE, nullptr);
    handles.push_back({value, std::move(name), true});
    return value;
}

Handle* FakeWin32::Model::find(HANDLE value) {
    const auto found = std::find_if(handles.begin(), handles.end(),
                                    [=](const Handle& handle) { return handle.value == value; });
    return found == handles.end() ? nullptr : &*found;
}

std::string FakeWin32::Model::nameOf(HANDLE value) {
    const Handle* handle = find(value);
    return handle == nullptr ? "unknown" : handle->name;
}

bool FakeWin32::Model::owns(HANDLE value, const char* function) {
    const Handle* handle = find(value);
    if (handle == nullptr) {
        return false;
    }
    if (!handle->open) {
        misuse(formatText("%s with the closed handle of %s", function, handle->name.c_str()));
    }
    return true;
}

std::optional<PlannedAnswer> FakeWin32::Model::takeAnswer(Call call) {
    const auto planned = answers.find({call, ++invocations[call]});
    if (planned == answers.end()) {
        return std::nullopt;
    }
    const PlannedAnswer answer = planned->second;
    answers.erase(planned);
    if (answer.outOfMemory) {
        throw std::bad_alloc();
    }
    return answer;
}

bool FakeWin32::Model::succeeds(Call call) {
    const auto answer = takeAnswer(call);
    if (answer) {
        SetLastError(answer->error);
    }
    return !answer;
}

Operation* FakeWin32::Model::findOperation(const OVERLAPPED* record) {
    const auto found =
        std::find_if(operations.begin(), operations.end(),
                     [=](const Operation& operation) { return operation.record == record; });
    return found == operations.end() ? nullptr : &*found;
}

Operation* FakeWin32::Model::findPendingEventWait() {
    const auto found =
        std::find_if(operations.begin(), operations.end(), [](const Operation& operation) {
            return operation.eventMask != nullptr && !operation.ended;
        });
    return found == operations.end() ? nullptr : &*found;
}

void FakeWin32::Model::start(OVERLAPPED* record, DWORD* eventMask, DWORD size) {
    if (const Operation* earlier = findOperation(record)) {
        if (!earlier->ended) {
            misuse("record of a pending operation used again");
        }
        std::erase_if(operations,
                      [=](const Operation& operation) { return operation.record == record; });
    }
    ResetEvent(record->hEvent);
    record->Internal = pendingStatus;
    operations.push_back(
        {record, eventMask, GetCurrentThreadId(), size, false, false, false, 0, 0});
}

void FakeWin32::Model::end(Operation& operation, DWORD error, DWORD transferred) {
    operation.ended = true;
    operation.error = error;
    operation.transferred = transferred;
    operation.record->Internal = error;
    operation.record->InternalHigh = transferred;
    if (operation.eventMask != nullptr) {
        *operation.eventMask = error == 0 ? EV_RXCHAR : 0;
    }
    realSetEvent(operation.record->hEvent);
}

void FakeWin32::Model::checkRecord(const OVERLAPPED& record, const char* function) {
    if (record.Internal != 0 || record.InternalHigh != 0 || record.Offset != 0 ||
        record.OffsetHigh != 0) {
        misuse(formatText("%s with a record that is not clear", function));
    }
}

void FakeWin32::Model::giveUpPending() {
    for (const Operation& operation : operations) {
        if (!operation.ended) {
            misuse("port closed with an operation pending");
        }
    }
    operations.clear();
}

void FakeWin32::Model::arrive(Bytes bytes) {
    arrivals.push_back(std::move(bytes));
    if (Operation* wait = findPendingEventWait()) {
        end(*wait, 0, 0);
    } else {
        eventWaits = true;
    }
}

void FakeWin32::Model::endWaitedWrite(Operation& operation) {
    switch (writes) {
    case Writes::ending:
        end(operation, 0, operation.size);
        break;
    case Writes::failing:
        end(operation, writeError, 0);
        break;
    case Writes::cut:
        end(operation, 0, writeCount);
        break;
    case Writes::atOnce:
    case Writes::pending:
        break;
    }
}

namespace {

HANDLE WINAPI fakeCreateEventA(SECURITY_ATTRIBUTES* security, BOOL manual, BOOL set,
                               const char* name) {
    const std::lock_guard lock(modelLock);
    if (installed == nullptr || !installed->opening ||
        installed->openingThread != GetCurrentThreadId()) {
        return realCreateEvent(security, manual, set, name);
    }
    constexpr std::array names{"stop", "read", "receive", "send"};
    installed->enter(
        formatText("CreateEventA(%s, %d, %d, %s)", orNull(security), manual, set, orNull(name)));
    if (!installed->succeeds(Call::createEvent)) {
        installed->opening = false;
        return nullptr;
    }
    const std::size_t made = installed->handles.size();
    if (made >= names.size()) {
        installed->misuse("more than four events");
        return nullptr;
    }
    return installed->makeHandle(names[made]);
}

HANDLE WINAPI fakeCreateFileA(const char* name, DWORD access, DWORD sharing,
                              SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD flags,
                              HANDLE pattern) {
    const std::lock_guard lock(modelLock);
    if (installed == nullptr || !installed->opening ||
        installed->openingThread != GetCurrentThreadId()) {
        return realCreateFile(name, access, sharing, security, disposition, flags, pattern);
    }
    installed->opening = false;
    installed->enter(formatText("CreateFileA(%s, %lx, %lu, %s, %lu, %lx, %s)", name, access,
                                sharing, orNull(security), disposition, flags, orNull(pattern)));
    return installed->succeeds(Call::createFile) ? installed->makeHandle("port")
                                                 : INVALID_HANDLE_VALUE;
}

BOOL WINAPI fakeCloseHandle(HANDLE handle) {
    const std::lock_guard lock(modelLock);
    if (!concernsPort(handle, "CloseHandle")) {
        return realCloseHandle(handle);
    }
    Handle& closed = *installed->find(handle);
    installed->enter(formatText("CloseHandle(%s)", closed.name.c_str()));
    closed.open = false;
    if (closed.name == "port") {
        installed->giveUpPending();
    }
    return TRUE;
}

BOOL WINAPI fakeSetEvent(HANDLE event) {
    const std::lock_guard lock(modelLock);
    if (!concernsPort(event, "SetEvent")) {
        return realSetEvent(event);
    }
    installed->enter(formatText("SetEvent(%s)", installed->nameOf(event).c_str()));
    return installed->succeeds(Call::setEvent) ? realSetEvent(event) : FALSE;
}

/// The answer of a wait for one of the port's events; none when the call concerns others.
std::optional<DWORD> waitForPort(HANDLE event, DWORD milliseconds) {
    const std::lock_guard lock(modelLock);
    if (!concernsPort(event, "WaitForSingleObject")) {
        return std::nullopt;
    }
    installed->enter(
        formatText("WaitForSingleObject(%s, %lu)", installed->nameOf(event).c_str(), milliseconds));
    if (const auto answer = installed->takeAnswer(Call::waitForSingleObject)) {
        SetLastError(answer->error);
        return answer->result;
    }
    const auto waitedFor =
        std::find_if(installed->operations.begin(), installed->operations.end(),
                     [=](const Operation& operation) { return operation.record->hEvent == event; });
    if (waitedFor == installed->operations.end()) {
        installed->misuse("wait for an event of no operation");
        return WAIT_TIMEOUT;
    }
    installed->endWaitedWrite(*waitedFor);
    return waitedFor->ended ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

DWORD WINAPI fakeWaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    const auto answer = waitForPort(handle, milliseconds);
    return answer ? *answer : realWaitForSingleObject(handle, milliseconds);
}

std::optional<DWORD> answerMultipleWait(DWORD count, const HANDLE* handles, BOOL all,
                                        DWORD milliseconds) {
    const std::lock_guard lock(modelLock);
    if (!concernsPort(handles[0], "WaitForMultipleObjects")) {
        return std::nullopt;
    }
    std::string names;
    for (DWORD index = 0; index < count; ++index) {
        names += installed->nameOf(handles[index]) + ", ";
    }
    installed->enter(formatText("WaitForMultipleObjects(%s%s, %s)", names.c_str(),
                                all == FALSE ? "any" : "all",
                                milliseconds == INFINITE ? "infinite" : "limited"));
    const auto answer = installed->takeAnswer(Call::waitForMultipleObjects);
    if (!answer) {
        return std::nullopt;
    }
    SetLastError(answer->error);
    return answer->result;
}

DWORD WINAPI fakeWaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL all,
                                        DWORD milliseconds) {
    const auto answer = answerMultipleWait(count, handles, all, milliseconds);
    return answer ? *answer : realWaitForMultipleObjects(count, handles, all, milliseconds);
}

BOOL WINAPI fakePurgeComm(HANDLE port, DWORD flags) {
    const std::lock_guard lock(modelLock);
    if (!concernsPort(port, "PurgeComm")) {
        return realPurgeComm(port, flags);
    }
    installed->enter(formatText("PurgeComm(%s, %lx)", installed->nameOf(port).c_str(), flags));
    if (!installed->succeeds(Call::purgeComm)) {
        return FALSE;
    }
    installed->arrivals.clear();
    for (Bytes& bytes : std::exchange(installed->arrivalsAfterPurge, {})) {
        installed->arrive(std::move(bytes));
    }
    return TRUE;
}

BOOL WINAPI fakeGetCommState(HANDLE port, DCB* settings) {
    const std::lock_guard lock(modelLock);
    if (!concernsPort(port, "GetCommState")) {
        return realGetCommState(port, settings);
    }
    installed->enter(formatText("GetCommState(%s, length %lu)", installed->nameOf(port).c_str(),
                                settings->DCBlength));
    if (!installed->succeeds(Call::getCommState)) {
        return FALSE;
    }
    *settings = installed->driverSettings;
    return TRUE;
}

BOOL WINAPI fakeSetCommState(HANDLE port, DCB* settings) {
    const std::lock_guard lock(modelLock);
    if (!concernsPort(port, "SetCommState")) {
        return realSetCommState(port, settings);
    }
    installed->enter(formatText("SetCommState(%s, length %lu)", installed->nameOf(port).c_str(),
                                settings->DCBlength));
    if (!installed->succeeds(Call::setCommState)) {
        return FALSE;
    }
    installed->appliedSettings = *settings;
    return TRUE;
}

BOOL WINAPI fakeSetCommTimeouts(HANDLE port, COMMTIMEOUTS* timeouts) {
    const std::lock_guard lock(modelLock);
    if (!concernsPort(port, "SetCommTimeouts")) {
        return realSetCommTimeouts(port, timeouts);
    }
    installed->enter(
        formatText("SetCommTimeouts(%s, read %lu %lu %lu, write %lu %lu)",
                   installed->nameOf(port).c_str(), timeouts->ReadIntervalTimeout,
                   timeouts->ReadTotalTimeoutMultiplier, timeouts->ReadTotalTimeoutConstant,
                   timeouts->WriteTotalTimeoutMultiplier, timeouts->WriteTotalTimeoutConstant));
    return installed->succeeds(Call::setCommTimeouts) ? TRUE : FALSE;
}

BOOL WINAPI fakeSetCommMask(HANDLE port, DWORD mask) {
    const std::lock_guard lock(modelLock);
    if (!concernsPort(port, "SetCommMask")) {
        return realSetCommMask(port, mask);
    }
    installed->enter(formatText("SetCommMask(%s, %lx)", installed->nameOf(port).c_str(), mask));
    return installed->succeeds(Call::setCommMask) ? TRUE : FALSE;
}

BOOL WINAPI fakeWaitCommEvent(HANDLE port, DWORD* mask, OVERLAPPED* record) {
    const std::lock_guard lock(modelLock);
    if (!concernsPort(port, "WaitCommEvent")) {
        return realWaitCommEvent(port, mask, record);
    }
    installed->enter(formatText("WaitCommEvent(%s, %s)", installed->nameOf(port).c_str(),
                                installed->nameOf(record->hEvent).c_str()));
    installed->checkRecord(*record, "WaitCommEvent");
    if (!installed->succeeds(Call::waitCommEvent)) {
        return FALSE;
    }
    if (std::exchange(installed->eventWaits, false)) {
        *mask = EV_RXCHAR;
        return TRUE;
    }
    installed->start(record, mask, 0);
    SetLastError(ERROR_IO_PENDING);
    return FALSE;
}

BOOL WINAPI fakeReadFile(HANDLE port, void* buffer, DWORD size, DWORD* count, OVERLAPPED* record) {
    const std::lock_guard lock(modelLock);
    if (!concernsPort(port, "ReadFile")) {
        return realReadFile(port, buffer, size, count, record);
    }
    installed->enter(formatText("ReadFile(%s, %lu, %s)", installed->nameOf(port).c_str(), size,
                                installed->nameOf(record->hEvent).c_str()));
    installed->checkRecord(*record, "ReadFile");
    installed->readTargets.push_back(static_cast<const std::uint8_t*>(buffer));
    if (!installed->succeeds(Call::readFile)) {
        return FALSE;
    }
    if (std::exchange(installed->nextReadPends, false)) {
        installed->start(record, nullptr, size);
        SetLastError(ERROR_IO_PENDING);
        return FALSE;
    }
    *count = 0;
    if (!installed->arrivals.empty()) {
        Bytes& arrival = installed->arrivals.front();
        *count = std::min(size, static_cast<DWORD>(arrival.size()));
        std::memcpy(buffer, arrival.data(), *count);
        arrival.erase(arrival.begin(), arrival.begin() + static_cast<std::ptrdiff_t>(*count));
        if (arrival.empty()) {
            installed->arrivals.pop_front();
        }
    }
    return TRUE;
}

BOOL WINAPI fakeWriteFile(HANDLE port, const void* bytes, DWORD size, DWORD* count,
                          OVERLAPPED* record) {
    const std::lock_guard lock(modelLock);
    if (!concernsPort(port, "WriteFile")) {
        return realWriteFile(port, bytes, size, count, record);
    }
    installed->enter(formatText("WriteFile(%s, %lu, count %s, %s)", installed->nameOf(port).c_str(),
                                size, orNull(count), installed->nameOf(record->hEvent).c_str()));
    installed->checkRecord(*record, "WriteFile");
    if (!installed->succeeds(Call::writeFile)) {
        return FALSE;
    }
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    installed->written.insert(installed->written.end(), first, first + size);
    if (installed->writes == Writes::atOnce) {
        return TRUE;
    }
    installed->start(record, nullptr, size);
    SetLastError(ERROR_IO_PENDING);
    return FALSE;
}

BOOL WINAPI fakeGetOverlappedResult(HANDLE port, OVERLAPPED* record, DWORD* transferred,
                                    BOOL wait) {
    const std::lock_guard lock(modelLock);
    if (!concernsPort(port, "GetOverlappedResult")) {
        return realGetOverlappedResult(port, record, transferred, wait);
    }
    installed->enter(formatText("GetOverlappedResult(%s, %s, %s)", installed->nameOf(port).c_str(),
                                installed->nameOf(record->hEvent).c_str(),
                                wait == FALSE ? "at once" : "wait"));
    Operation* operation = installed->findOperation(record);
    if (operation == nullptr) {
        installed->misuse("result of an operation that was never started");
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (!operation->ended) {
        if (wait == FALSE) {
            SetLastError(ERROR_IO_INCOMPLETE);
            return FALSE;
        }
        if (!operation->cancelRequested) {
            installed->misuse("wait for an operation that nobody ends");
        }
        installed->end(*operation, operation->cancelled ? ERROR_OPERATION_ABORTED : 0, 0);
    }
    const Operation ended = *operation;
    std::erase_if(installed->operations,
                  [=](const Operation& candidate) { return candidate.record == record; });
    *transferred = ended.transferred;
    if (ended.error != 0) {
        SetLastError(ended.error);
        return FALSE;
    }
    if (ended.size != ended.transferred) {
        SetLastError(installed->writeError);
    }
    return TRUE;
}

BOOL WINAPI fakeCancelIo(HANDLE port) {
    const std::lock_guard lock(modelLock);
    if (!concernsPort(port, "CancelIo")) {
        return realCancelIo(port);
    }
    installed->enter(formatText("CancelIo(%s)", installed->nameOf(port).c_str()));
    const bool cancels = installed->succeeds(Call::cancelIo);
    for (Operation& operation : installed->operations) {
        // As the system does: other threads' operations are left alone.
        if (operation.thread == GetCurrentThreadId() && !operation.ended) {
            operation.cancelRequested = true;
            operation.cancelled = cancels;
        }
    }
    return cancels ? TRUE : FALSE;
}

DWORD WINAPI fakeFormatMessageA(DWORD flags, const void* source, DWORD message, DWORD language,
                                char* buffer, DWORD size, va_list* arguments) {
    const std::lock_guard lock(modelLock);
    if (installed == nullptr) {
        return realFormatMessage(flags, source, message, language, buffer, size, arguments);
    }
    installed->textRequests.push_back(formatText("FormatMessageA(%lx, %s, %lu, %lu, %lu, %s)",
                                                 flags, orNull(source), message, language, size,
                                                 orNull(arguments)));
    DWORD length = 0;
    void* text = nullptr;
    if (installed->texts == Texts::systems) {
        length = realFormatMessage(flags, source, message, language, buffer, size, arguments);
        std::memcpy(&text, buffer, sizeof(text));
    } else if (installed->texts != Texts::none) {
        const std::string made =
            installed->texts == Texts::fixed ? installed->fixedText : FakeWin32::textOf(message);
        length = static_cast<DWORD>(made.size());
        text = LocalAlloc(LMEM_FIXED, made.size() + 1);
        std::memcpy(text, made.c_str(), made.size() + 1);
        std::memcpy(buffer, &text, sizeof(text));
    }
    if (length != 0) {
        installed->textBuffers.insert(text);
    }
    return length;
}

HLOCAL WINAPI fakeLocalFree(HLOCAL memory) {
    const std::lock_guard lock(modelLock);
    if (installed != nullptr) {
        installed->textBuffers.erase(memory);
    }
    return realLocalFree(memory);
}

BOOL WINAPI fakeGetModuleHandleExA(DWORD flags, const char* nameOrAddress, HMODULE* module) {
    const std::lock_guard lock(modelLock);
    if (installed == nullptr) {
        return realGetModuleHandleEx(flags, nameOrAddress, module);
    }
    HMODULE owner = nullptr;
    realGetModuleHandleEx(DWORD{GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT},
                          nameOrAddress, &owner);
    installed->enter(
        formatText("GetModuleHandleExA(%lx, %s)", flags,
                   owner == GetModuleHandleA(nullptr) ? "address in this program" : "other"));
    return installed->succeeds(Call::getModuleHandle)
               ? realGetModuleHandleEx(flags, nameOrAddress, module)
               : FALSE;
}

using ThreadBody = unsigned(__stdcall*)(void*);

std::uintptr_t __cdecl fakeBeginThread(void* security, unsigned stackSize, ThreadBody body,
                                       void* argument, unsigned flags, unsigned* identifier) {
    const std::lock_guard lock(modelLock);
    if (installed != nullptr && !installed->succeeds(Call::beginThread)) {
        errno = EAGAIN;
        return 0;
    }
    const std::uintptr_t thread =
        realBeginThread(security, stackSize, body, argument, flags, identifier);
    if (installed != nullptr && thread != 0) {
        HANDLE kept = nullptr;
        DuplicateHandle(GetCurrentProcess(), reinterpret_cast<HANDLE>(thread), GetCurrentProcess(),
                        &kept, 0, FALSE, DUPLICATE_SAME_ACCESS);
        installed->threads.push_back(kept);
    }
    return thread;
}

} // namespace

FakeWin32::FakeWin32(PortJournal& journal) : model(std::make_unique<Model>(journal)) {
    // What the runtime makes once for each thread must not be taken for the port's.
    static_cast<void>(std::this_thread::get_id());
    model->driverSettings.DCBlength = sizeof(DCB);
    const std::lock_guard lock(modelLock);
    installed = model.get();
}

FakeWin32::~FakeWin32() {
    {
        const std::lock_guard lock(modelLock);
        installed = nullptr;
    }
    for (const Handle& handle : model->handles) {
        realCloseHandle(handle.value);
    }
    for (const HANDLE thread : model->threads) {
        realCloseHandle(thread);
    }
}

void FakeWin32::fail(Call call, DWORD error, int invocation) {
    const std::lock_guard lock(modelLock);
    model->answers[{call, model->invocations[call] + invocation}] = {error, WAIT_FAILED, false};
}

void FakeWin32::answerWait(Call call, DWORD result, DWORD error) {
    const std::lock_guard lock(modelLock);
    model->answers[{call, model->invocations[call] + 1}] = {error, result, false};
}

void FakeWin32::runOutOfMemory(Call call) {
    const std::lock_guard lock(modelLock);
    model->answers[{call, model->invocations[call] + 1}] = {ERROR_SUCCESS, WAIT_FAILED, true};
}

void FakeWin32::useSystemTexts() {
    const std::lock_guard lock(modelLock);
    model->texts = Texts::systems;
}

void FakeWin32::useText(const std::string& text) {
    const std::lock_guard lock(modelLock);
    model->texts = Texts::fixed;
    model->fixedText = text;
}

void FakeWin32::haveNoTexts() {
    const std::lock_guard lock(modelLock);
    model->texts = Texts::none;
}

std::string FakeWin32::textOf(DWORD error) {
    return formatText("Text of error %lu.\r\n", error);
}

std::vector<std::string> FakeWin32::textRequests() const {
    const std::lock_guard lock(modelLock);
    return model->textRequests;
}

void FakeWin32::setDriverSettings(const DCB& settings) {
    const std::lock_guard lock(modelLock);
    model->driverSettings = settings;
}

DCB FakeWin32::appliedSettings() const {
    const std::lock_guard lock(modelLock);
    return model->appliedSettings;
}

void FakeWin32::arrive(Bytes bytes) {
    const std::lock_guard lock(modelLock);
    model->arrive(std::move(bytes));
}

void FakeWin32::arriveDuringOpening(Bytes bytes) {
    const std::lock_guard lock(modelLock);
    model->arrivalsAfterPurge.push_back(std::move(bytes));
}

void FakeWin32::failPendingEventWait(DWORD error) {
    const std::lock_guard lock(modelLock);
    if (Operation* wait = model->findPendingEventWait()) {
        model->end(*wait, error, 0);
    } else {
        model->misuse("no wait for the port's event is pending");
    }
}

void FakeWin32::leaveNextReadPending() {
    const std::lock_guard lock(modelLock);
    model->nextReadPends = true;
}

std::vector<const std::uint8_t*> FakeWin32::readTargets() const {
    const std::lock_guard lock(modelLock);
    return model->readTargets;
}

void FakeWin32::leaveWritesPending() {
    const std::lock_guard lock(modelLock);
    model->writes = Writes::pending;
}

void FakeWin32::endWritesWhileWaitedFor() {
    const std::lock_guard lock(modelLock);
    model->writes = Writes::ending;
}

void FakeWin32::failWritesWhileWaitedFor(DWORD error) {
    const std::lock_guard lock(modelLock);
    model->writes = Writes::failing;
    model->writeError = error;
}

void FakeWin32::cutWritesWhileWaitedFor(DWORD count, DWORD lastError) {
    const std::lock_guard lock(modelLock);
    model->writes = Writes::cut;
    model->writeCount = count;
    model->writeError = lastError;
}

Bytes FakeWin32::written() const {
    const std::lock_guard lock(modelLock);
    return model->written;
}

int FakeWin32::openHandles() const {
    const std::lock_guard lock(modelLock);
    return static_cast<int>(std::count_if(model->handles.begin(), model->handles.end(),
                                          [](const Handle& handle) { return handle.open; }));
}

int FakeWin32::unreleasedTexts() const {
    const std::lock_guard lock(modelLock);
    return static_cast<int>(model->textBuffers.size());
}

int FakeWin32::startedThreads() const {
    const std::lock_guard lock(modelLock);
    return static_cast<int>(model->threads.size());
}

int FakeWin32::runningThreads() const {
    const std::lock_guard lock(modelLock);
    return static_cast<int>(
        std::count_if(model->threads.begin(), model->threads.end(), [](HANDLE thread) {
            return realWaitForSingleObject(thread, DWORD{0}) == WAIT_TIMEOUT;
        }));
}

std::vector<std::string> FakeWin32::misuses() const {
    const std::lock_guard lock(modelLock);
    std::vector<std::string> texts = model->misuseTexts;
    for (const Operation& operation : model->operations) {
        if (!operation.ended) {
            texts.emplace_back("operation still pending");
        }
    }
    for (const auto& [when, answer] : model->answers) {
        texts.push_back(formatText("planned error %lu of call %d never came", answer.error,
                                   static_cast<int>(when.first)));
    }
    return texts;
}

} // namespace ridge::test

// The pointers that every call goes through; the import libraries' own are not linked in.
extern "C" {
decltype(&ridge::test::fakeCreateEventA) __imp_CreateEventA = &ridge::test::fakeCreateEventA;
decltype(&ridge::test::fakeCreateFileA) __imp_CreateFileA = &ridge::test::fakeCreateFileA;
decltype(&ridge::test::fakeCloseHandle) __imp_CloseHandle = &ridge::test::fakeCloseHandle;
decltype(&ridge::test::fakeSetEvent) __imp_SetEvent = &ridge::test::fakeSetEvent;
decltype(&ridge::test::fakeWaitForSingleObject) __imp_WaitForSingleObject =
    &ridge::test::fakeWaitForSingleObject;
decltype(&ridge::test::fakeWaitForMultipleObjects) __imp_WaitForMultipleObjects =
    &ridge::test::fakeWaitForMultipleObjects;
decltype(&ridge::test::fakePurgeComm) __imp_PurgeComm = &ridge::test::fakePurgeComm;
decltype(&ridge::test::fakeGetCommState) __imp_GetCommState = &ridge::test::fakeGetCommState;
decltype(&ridge::test::fakeSetCommState) __imp_SetCommState = &ridge::test::fakeSetCommState;
decltype(&ridge::test::fakeSetCommTimeouts) __imp_SetCommTimeouts =
    &ridge::test::fakeSetCommTimeouts;
decltype(&ridge::test::fakeSetCommMask) __imp_SetCommMask = &ridge::test::fakeSetCommMask;
decltype(&ridge::test::fakeWaitCommEvent) __imp_WaitCommEvent = &ridge::test::fakeWaitCommEvent;
decltype(&ridge::test::fakeReadFile) __imp_ReadFile = &ridge::test::fakeReadFile;
decltype(&ridge::test::fakeWriteFile) __imp_WriteFile = &ridge::test::fakeWriteFile;
decltype(&ridge::test::fakeGetOverlappedResult) __imp_GetOverlappedResult =
    &ridge::test::fakeGetOverlappedResult;
decltype(&ridge::test::fakeCancelIo) __imp_CancelIo = &ridge::test::fakeCancelIo;
decltype(&ridge::test::fakeFormatMessageA) __imp_FormatMessageA = &ridge::test::fakeFormatMessageA;
decltype(&ridge::test::fakeLocalFree) __imp_LocalFree = &ridge::test::fakeLocalFree;
decltype(&ridge::test::fakeGetModuleHandleExA) __imp_GetModuleHandleExA =
    &ridge::test::fakeGetModuleHandleExA;
decltype(&ridge::test::fakeBeginThread) __imp__beginthreadex = &ridge::test::fakeBeginThread;
}
