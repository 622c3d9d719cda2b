#pragma once

#include "host.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

namespace ridge::test {

inline constexpr ridgeCsrSubjectName csrSubject{"Pr\xC3\xBC"
                                                "fstelle \xCE\xA9",
                                                "DE",
                                                "Town",
                                                "Firm & Sons",
                                                "Unit",
                                                "State"};

/// What the callbacks of a signing request are told. Waiting gives up after a minute.
class CsrCaller {
public:
    std::int32_t start(Host& host, const ridgeCsrSubjectName& name = csrSubject) {
        return ridgeDeviceSecurityCreateCsr(host.context(), &name, onCsr, onError, this);
    }

    std::vector<std::vector<std::uint8_t>> waitForRequest() {
        wait([this] { return !requests.empty(); });
        return requests;
    }
    std::vector<ReceivedFailure> waitForFailure() {
        wait([this] { return !failures.empty(); });
        return failures;
    }

    /// Waits until either of them has come.
    void waitForEnd() {
        wait([this] { return !requests.empty() || !failures.empty(); });
    }

    std::vector<std::vector<std::uint8_t>> requestsSoFar() {
        const std::lock_guard lock(mutex);
        return requests;
    }
    std::vector<ReceivedFailure> failuresSoFar() {
        const std::lock_guard lock(mutex);
        return failures;
    }

private:
    static void onCsr(const std::uint8_t* request, std::uint32_t size, void* userContext) {
        auto& caller = *static_cast<CsrCaller*>(userContext);
        const std::lock_guard lock(caller.mutex);
        caller.requests.emplace_back(request, request + size);
        caller.changed.notify_all();
    }
    static void onError(std::int32_t status, const char* message, void* userContext) {
        auto& caller = *static_cast<CsrCaller*>(userContext);
        const std::lock_guard lock(caller.mutex);
        caller.failures.push_back({status, message});
        caller.changed.notify_all();
    }

    template <typename Condition>
    void wait(const Condition& condition) {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, std::chrono::minutes(1), condition);
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::vector<std::uint8_t>> requests;
    std::vector<ReceivedFailure> failures;
};

} // namespace ridge::test
