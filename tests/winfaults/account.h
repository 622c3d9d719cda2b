#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <windows.h>

namespace ridge::test {

enum class CallKind {
    /// Of Windows or the C library.
    system,
    allocation,
    /// A call of the system whose failure ends the process, as the library says.
    fatal
};

/// Where the library calls a function of the system.
struct CallSite {
    const char* function;
    const void* place;

    auto operator<=>(const CallSite&) const = default;
};

/// Which call fails, and how.
struct Refusal {
    CallKind kind = CallKind::system;
    /// The first call from there; without it the call with the number.
    std::optional<CallSite> site;
    /// Counts from 1.
    std::size_t number = 0;
    /// All calls of the kind after it fail too.
    bool fromThenOn = false;
    DWORD error = ERROR_SUCCESS;
};

/// What the library does for one host: its calls, and what it has acquired and not yet given back.
/// It is kept for the threads that belong to the host: its own, and those that the library starts
/// on these.
class Account {
public:
    /// The account that the calling thread belongs to, or null.
    static Account* ofThisThread();
    /// From now on the calling thread belongs to it.
    void adoptThisThread();

    void refuse(const Refusal& refusal);
    void refuseNothing();
    /// Whether a call has been refused since `refuse`.
    [[nodiscard]] bool hasRefused() const;
    /// For a call that is about to be made: the error that it fails with instead.
    std::optional<DWORD> refusalOf(CallKind kind, const CallSite& site);

    /// The places that have called since the last time, each once, in the order of their first
    /// call.
    std::map<CallKind, std::vector<CallSite>> takeSites();

    /// `what` says what it is and where it was acquired.
    void acquired(const void* resource, const std::string& what);
    /// Whichever account it stands in.
    static void released(const void* resource);
    [[nodiscard]] std::vector<std::string> held() const;
    void forgetHeld();

    /// The account owns the handle.
    void startedThread(HANDLE thread);
    /// Waits until all threads have ended that the library has started. False when one does not.
    bool awaitThreads();

private:
    std::optional<Refusal> refusal;
    std::size_t calls = 0;
    bool refused = false;
    std::map<CallKind, std::vector<CallSite>> sites;
    std::vector<HANDLE> threads;
};

} // namespace ridge::test
