#pragma once

#include <chrono>
#include <mutex>

namespace ridge {

/// A mutex of the system's slim kind. Unlike those of some thread libraries it needs no memory at
/// its first use, cannot fail, and passes from thread to thread several times as fast.
class SlimMutex {
public:
    constexpr SlimMutex() noexcept = default;
    SlimMutex(const SlimMutex&) = delete;
    SlimMutex& operator=(const SlimMutex&) = delete;

    void lock() noexcept;
    void unlock() noexcept;

private:
    friend class SlimCondition;

    /// The system's `SRWLOCK`.
    void* systemLock = nullptr;
};

/// The condition variable for it, with the standard one's functions.
class SlimCondition {
public:
    constexpr SlimCondition() noexcept = default;
    SlimCondition(const SlimCondition&) = delete;
    SlimCondition& operator=(const SlimCondition&) = delete;

    void notify_one() noexcept;
    void notify_all() noexcept;

    template <typename Predicate>
    void wait(std::unique_lock<SlimMutex>& lock, Predicate satisfied) {
        while (!satisfied()) {
            waitForNotification(*lock.mutex());
        }
    }

    template <typename Predicate>
    bool wait_until(std::unique_lock<SlimMutex>& lock,
                    std::chrono::steady_clock::time_point deadline, Predicate satisfied) {
        while (!satisfied()) {
            const auto now = std::chrono::steady_clock::now();
            if (now >= deadline) {
                return false;
            }
            waitForNotification(*lock.mutex(), deadline - now);
        }
        return true;
    }

private:
    void waitForNotification(SlimMutex& mutex) noexcept;
    /// Returns earlier than after `time` when that is more than the system can wait at a time.
    void waitForNotification(SlimMutex& mutex, std::chrono::nanoseconds time) noexcept;

    /// The system's `CONDITION_VARIABLE`.
    void* systemCondition = nullptr;
};

} // namespace ridge
