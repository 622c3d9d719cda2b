// The program's monotonic clock jumps: a wait for an answer that cannot come any more is over at
// once instead of after its three or ten seconds. The linker takes this clock before the C
// library's and, as it is told to wrap the wait, this wait; the one beneath it may be a
// sanitizer's.

#include "memoryline.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using Nanoseconds = std::int64_t;

constexpr Nanoseconds second = 1'000'000'000;
/// The library's own waits; what takes longer is a test's patience.
constexpr Nanoseconds longestCommand = 11 * second;
constexpr Nanoseconds slice = 200'000;

/// How far the clock has jumped.
std::atomic<Nanoseconds> jumped{0};

Nanoseconds nanosecondsOf(const timespec& time) {
    return time.tv_sec * second + time.tv_nsec;
}

timespec timespecOf(Nanoseconds time) {
    return {time / second, time % second};
}

int systemTime(clockid_t clock, timespec* time) {
    return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}

Nanoseconds systemMonotonicTime() {
    timespec time{};
    systemTime(CLOCK_MONOTONIC, &time);
    return nanosecondsOf(time);
}

} // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const int result = systemTime(clock, time);
    if (result == 0 && clock == CLOCK_MONOTONIC) {
        *time = timespecOf(nanosecondsOf(*time) + jumped);
    }
    return result;
}

extern "C" int __real_pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                             clockid_t clock, const timespec* deadline);

extern "C" int __wrap_pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                             clockid_t clock, const timespec* deadline) {
    if (clock != CLOCK_MONOTONIC) {
        return __real_pthread_cond_clockwait(condition, mutex, clock, deadline);
    }
    const Nanoseconds left = nanosecondsOf(*deadline) - jumped - systemMonotonicTime();
    if (left <= 0) {
        return ETIMEDOUT;
    }
    const timespec end = timespecOf(systemMonotonicTime() + (left < slice ? left : slice));
    const int result = __real_pthread_cond_clockwait(condition, mutex, clock, &end);
    if (result != ETIMEDOUT) {
        return result;
    }
    // Nothing is under way: the waiting thread would have been notified before.
    if (left < longestCommand && ridge::test::MemoryLine::allQuiet()) {
        jumped += left;
        return ETIMEDOUT;
    }
    // As if woken for nothing: the caller looks for itself and waits again.
    return 0;
}
