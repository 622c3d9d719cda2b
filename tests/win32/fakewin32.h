#pragma once

#include "portjournal.h"

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ridge::test {

using Bytes = std::vector<std::uint8_t>;

/// The Win32 calls that a test can make fail.
enum class Call {
    createEvent,
    createFile,
    purgeComm,
    getCommState,
    setCommState,
    setCommTimeouts,
    setCommMask,
    waitCommEvent,
    waitForMultipleObjects,
    waitForSingleObject,
    readFile,
    writeFile,
    cancelIo,
    setEvent,
    getModuleHandle,
    beginThread
};

/// Stands behind the Win32 imports of this program while it lives: one COM port in memory. Every
/// call that concerns the port is entered in the journal with its arguments, where the port's
/// handles appear as "port", "stop", "read", "receive" and "send"; all other calls, such as those
/// of the C++ runtime, reach the system.
///
/// The events that the constructing thread makes before it opens the port are the port's. What a
/// pending operation writes to is touched only when the operation ends, as a driver does.
class FakeWin32 {
public:
    explicit FakeWin32(PortJournal& journal);
    ~FakeWin32();

    FakeWin32(const FakeWin32&) = delete;
    FakeWin32& operator=(const FakeWin32&) = delete;

    /// Makes a call fail with this last error, at its next invocation or a later one.
    void fail(Call call, DWORD error, int invocation = 1);
    /// As `fail`, for a wait that returns something else than WAIT_FAILED.
    void answerWait(Call call, DWORD result, DWORD error);
    /// Throws std::bad_alloc out of the next invocation, as if memory had run out next to it.
    void runOutOfMemory(Call call);

    /// Without one of the three below, each error code has the text that `textOf` returns.
    void useSystemTexts();
    void useText(const std::string& text);
    void haveNoTexts();
    static std::string textOf(DWORD error);
    /// The FormatMessageA calls with their arguments.
    [[nodiscard]] std::vector<std::string> textRequests() const;

    /// What the driver reports before the library changes it.
    void setDriverSettings(const DCB& settings);
    [[nodiscard]] DCB appliedSettings() const;

    /// Bytes that come in over the line at one time: a read returns those of one arrival at most.
    void arrive(Bytes bytes);
    /// The same between the clearing of the port and the first wait for its event.
    void arriveDuringOpening(Bytes bytes);
    /// Ends the pending wait for the port's event with an error, as unplugging does.
    void failPendingEventWait(DWORD error);
    /// Makes the next read stay pending.
    void leaveNextReadPending();
    /// Where the reads were told to put the bytes.
    [[nodiscard]] std::vector<const std::uint8_t*> readTargets() const;

    /// Without one of these, a write ends at once.
    void leaveWritesPending();
    void endWritesWhileWaitedFor();
    void failWritesWhileWaitedFor(DWORD error);
    /// The wait finds `count` bytes written; the last error is then `lastError`.
    void cutWritesWhileWaitedFor(DWORD count, DWORD lastError);
    [[nodiscard]] Bytes written() const;

    [[nodiscard]] int openHandles() const;
    [[nodiscard]] int unreleasedTexts() const;
    [[nodiscard]] int startedThreads() const;
    [[nodiscard]] int runningThreads() const;
    /// What no correct program does: using a closed handle, giving up the record of a pending
    /// operation, waiting for one that nobody cancels. Failures that were planned and never came
    /// are listed too.
    [[nodiscard]] std::vector<std::string> misuses() const;

    struct Model;

private:
    std::unique_ptr<Model> model;
};

} // namespace ridge::test
