#include "account.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace ridge::test {
namespace {

constexpr DWORD patienceMs = 60000;

struct Holding {
    const Account* account;
    std::string what;
};

/// Guards all accounts and `holdings`.
std::mutex mutex;
std::map<const void*, Holding> holdings;

/// A slot of the system's own stays readable until the very end of a thread.
DWORD slot() {
    static const DWORD index = TlsAlloc();
    return index;
}

} // namespace

Account* Account::ofThisThread() {
    // The library looks at the last error after a call.
    const DWORD error = GetLastError();
    auto* const account = static_cast<Account*>(TlsGetValue(slot()));
    SetLastError(error);
    return account;
}

void Account::adoptThisThread() {
    TlsSetValue(slot(), this);
}

void Account::refuse(const Refusal& wanted) {
    const std::lock_guard lock(mutex);
    refusal = wanted;
    calls = 0;
    callsFrom.clear();
    strikesLeft = std::max<std::size_t>(wanted.sites.size(), 1);
}

void Account::refuseNothing() {
    const std::lock_guard lock(mutex);
    refusal.reset();
}

bool Account::hasRefused() const {
    const std::lock_guard lock(mutex);
    return strikesLeft == 0;
}

std::optional<Strike> Account::refusalOf(CallKind kind, const CallSite& site) {
    const std::lock_guard lock(mutex);
    std::vector<CallSite>& seen = sites[kind];
    if (std::find(seen.begin(), seen.end(), site) == seen.end()) {
        seen.push_back(site);
    }
    if (!refusal || refusal->kind != kind) {
        return std::nullopt;
    }
    ++calls;
    const Strike strike{refusal->error, ++callsFrom[site]};
    if (strikesLeft == 0) {
        return refusal->fromThenOn ? std::optional(strike) : std::nullopt;
    }
    if (!isNext(site)) {
        return std::nullopt;
    }
    --strikesLeft;
    return strike;
}

bool Account::isNext(const CallSite& site) const {
    const std::vector<CallSite>& wanted = refusal->sites;
    if (wanted.empty()) {
        return calls == refusal->number;
    }
    const std::size_t refused = wanted.size() - strikesLeft;
    return wanted[refused] == site && (refused > 0 || callsFrom.at(site) == refusal->number);
}

void Account::noteRefused(const RefusedCall& call) {
    const std::lock_guard lock(mutex);
    refusedCalls.push_back(call);
}

std::vector<RefusedCall> Account::takeRefused() {
    const std::lock_guard lock(mutex);
    return std::exchange(refusedCalls, {});
}

void Account::noteLine(const std::string& line) {
    const std::lock_guard lock(mutex);
    lines.push_back(line);
}

std::vector<std::string> Account::takeLines() {
    const std::lock_guard lock(mutex);
    return std::exchange(lines, {});
}

std::map<CallKind, std::vector<CallSite>> Account::takeSites() {
    const std::lock_guard lock(mutex);
    return std::exchange(sites, {});
}

void Account::acquired(const void* resource, const std::string& what) {
    const std::lock_guard lock(mutex);
    holdings[resource] = {this, what};
}

void Account::released(const void* resource) {
    const std::lock_guard lock(mutex);
    holdings.erase(resource);
}

std::vector<std::string> Account::held() const {
    const std::lock_guard lock(mutex);
    std::vector<std::string> texts;
    for (const auto& [resource, holding] : holdings) {
        if (holding.account == this) {
            texts.push_back(holding.what);
        }
    }
    return texts;
}

void Account::forgetHeld() {
    const std::lock_guard lock(mutex);
    std::erase_if(holdings, [this](const auto& entry) { return entry.second.account == this; });
}

void Account::startedThread(HANDLE thread) {
    const std::lock_guard lock(mutex);
    threads.push_back(thread);
}

bool Account::awaitThreads() {
    std::vector<HANDLE> started;
    {
        const std::lock_guard lock(mutex);
        started = std::exchange(threads, {});
    }
    bool ended = true;
    for (const HANDLE thread : started) {
        ended = WaitForSingleObject(thread, patienceMs) == WAIT_OBJECT_0 && ended;
        CloseHandle(thread);
    }
    return ended;
}

} // namespace ridge::test
