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

/// Which calls fail, and how.
struct Refusal {
    CallKind kind = CallKind::system;
    /// A call from each of them, one after the other: what is called only when something has failed
    /// already stands behind that.
    std::vector<CallSite> sites;
    /// Which of the calls from the first of them, or, without any, of all. Counts from 1; of the
    /// others it is the next call.
    std::size_t number = 0;
    /// All calls of the kind after the last one fail too.
    bool fromThenOn = false;
    DWORD error = ERROR_SUCCESS;
};

/// On whose behalf the library makes a call.
enum class Purpose {
    /// Of the operation that the host has asked for.
    operation,
    /// Of the port's own threads.
    port,
    /// Of nobody who would miss it: of the log, or of a runtime that has another way.
    none
};

/// How a call fails.
struct Strike {
    DWORD error;
    /// Which of the calls from its place it is.
    std::size_t number;
};

/// A call that was made to fail.
struct RefusedCall {
    CallSite site;
    /// Which of the calls from there. Counts from 1.
    std::size_t number = 0;
    Purpose purpose = Purpose::operation;
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
    /// Whether all has been refused that `refuse` was asked for.
    [[nodiscard]] bool hasRefused() const;
    /// For a call that is about to be made: how it fails instead.
    std::optional<Strike> refusalOf(CallKind kind, const CallSite& site);
    /// Takes down a call that was refused.
    void noteRefused(const RefusedCall& call);
    std::vector<RefusedCall> takeRefused();

    /// Takes down a line of the library's log.
    void noteLine(const std::string& line);
    std::vector<std::string> takeLines();

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
    /// Whether it is this call's turn.
    [[nodiscard]] bool isNext(const CallSite& site) const;

    std::optional<Refusal> refusal;
    /// Of its kind, since it was asked for.
    std::size_t calls = 0;
    std::map<CallSite, std::size_t> callsFrom;
    /// How many calls must still be refused before all, or nothing, is.
    std::size_t strikesLeft = 1;
    std::vector<RefusedCall> refusedCalls;
    std::vector<std::string> lines;
    std::map<CallKind, std::vector<CallSite>> sites;
    std::vector<HANDLE> threads;
};

} // namespace ridge::test
