#include "slimlock.h"

#include <algorithm>

#include <windows.h>

namespace ridge {
namespace {

// The header does without the system's.
static_assert(sizeof(SRWLOCK) == sizeof(void*) && alignof(SRWLOCK) == alignof(void*));
static_assert(sizeof(CONDITION_VARIABLE) == sizeof(void*) &&
              alignof(CONDITION_VARIABLE) == alignof(void*));

SRWLOCK* asLock(void*& systemLock) {
    return reinterpret_cast<SRWLOCK*>(&systemLock);
}

CONDITION_VARIABLE* asCondition(void*& systemCondition) {
    return reinterpret_cast<CONDITION_VARIABLE*>(&systemCondition);
}

} // namespace

void SlimMutex::lock() noexcept {
    AcquireSRWLockExclusive(asLock(systemLock));
}

void SlimMutex::unlock() noexcept {
    ReleaseSRWLockExclusive(asLock(systemLock));
}

void SlimCondition::notify_one() noexcept {
    WakeConditionVariable(asCondition(systemCondition));
}

void SlimCondition::notify_all() noexcept {
    WakeAllConditionVariable(asCondition(systemCondition));
}

void SlimCondition::waitForNotification(SlimMutex& mutex) noexcept {
    SleepConditionVariableSRW(asCondition(systemCondition), asLock(mutex.systemLock), INFINITE, 0);
}

void SlimCondition::waitForNotification(SlimMutex& mutex, std::chrono::nanoseconds time) noexcept {
    const auto milliseconds = std::min(std::chrono::ceil<std::chrono::milliseconds>(time),
                                       std::chrono::milliseconds(INFINITE - 1));
    SleepConditionVariableSRW(asCondition(systemCondition), asLock(mutex.systemLock),
                              static_cast<DWORD>(milliseconds.count()), 0);
}

} // namespace ridge
