#pragma once

#include <windows.h>

namespace ridge::test {

/// A mutex that the C++ runtime has no part in. The replaced Win32 calls need one: the runtime's
/// own mutexes pass through those calls.
class SystemLock {
public:
    constexpr SystemLock() = default;
    SystemLock(const SystemLock&) = delete;
    SystemLock& operator=(const SystemLock&) = delete;

    void lock() { AcquireSRWLockExclusive(&systemLock); }
    void unlock() { ReleaseSRWLockExclusive(&systemLock); }
    /// Lets go of the lock until `condition` is signalled.
    void wait(CONDITION_VARIABLE& condition) {
        SleepConditionVariableSRW(&condition, &systemLock, INFINITE, 0);
    }

private:
    SRWLOCK systemLock = SRWLOCK_INIT;
};

} // namespace ridge::test
