#pragma once

#include "scopedhandle.h"

#include <condition_variable>
#include <mutex>

#include <windows.h>

namespace ridge::bench {

// Ways to tell a waiting thread to go on. Each has `pass` for the one thread and `await` for the
// other; what has been passed once is awaited once.

/// SRWLOCK and CONDITION_VARIABLE.
class LockBaton {
public:
    void pass() {
        AcquireSRWLockExclusive(&lock);
        passed = true;
        ReleaseSRWLockExclusive(&lock);
        WakeConditionVariable(&changed);
    }
    void await() {
        AcquireSRWLockExclusive(&lock);
        while (!passed) {
            SleepConditionVariableSRW(&changed, &lock, INFINITE, 0);
        }
        passed = false;
        ReleaseSRWLockExclusive(&lock);
    }

private:
    SRWLOCK lock = SRWLOCK_INIT;
    CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;
    bool passed = false;
};

/// WaitOnAddress.
class AddressBaton {
public:
    void pass() {
        InterlockedExchange(&passed, 1);
        WakeByAddressSingle(&passed);
    }
    void await() {
        while (InterlockedExchange(&passed, 0) == 0) {
            LONG notPassed = 0;
            WaitOnAddress(&passed, &notPassed, sizeof(passed), INFINITE);
        }
    }

private:
    LONG passed = 0;
};

/// An event that resets itself.
class EventBaton {
public:
    void pass() { SetEvent(passed.get()); }
    void await() { WaitForSingleObject(passed.get(), INFINITE); }

private:
    simulator::ScopedHandle passed{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

/// The standard library's mutex and condition variable.
class StandardBaton {
public:
    void pass() {
        {
            const std::lock_guard lock(mutex);
            passed = true;
        }
        changed.notify_one();
    }
    void await() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return passed; });
        passed = false;
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool passed = false;
};

} // namespace ridge::bench
