#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <shared_mutex>

namespace ridge::test {

/// Attempts that go on beside each other. They keep the machine busy, and then an answer may come
/// too late through nobody's fault: such an attempt is made once more, without the others beside
/// it. What comes of that counts.
class ConcurrentAttempts {
public:
    /// `attempt` gives an outcome that says whether it `isLate`.
    template <typename Attempt>
    auto make(const Attempt& attempt) {
        {
            const std::shared_lock beside(mutex);
            auto outcome = attempt();
            if (!outcome.isLate()) {
                return outcome;
            }
        }
        ++repeatedCount;
        const std::unique_lock alone(mutex);
        return attempt();
    }

    /// How many were made once more.
    [[nodiscard]] std::size_t repeated() const { return repeatedCount; }

private:
    std::shared_mutex mutex;
    std::atomic<std::size_t> repeatedCount{0};
};

} // namespace ridge::test
