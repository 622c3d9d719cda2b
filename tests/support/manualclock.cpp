#include "manualclock.h"

#include "monotonictime.h"

#include <atomic>
#include <cstdint>

namespace ridge {
namespace {

std::atomic<bool> stopped{false};
std::atomic<std::int64_t> stoppedNanoseconds{0};

} // namespace

/// Takes the place of the library's own.
std::chrono::nanoseconds monotonicTime() {
    if (stopped) {
        return std::chrono::nanoseconds(stoppedNanoseconds);
    }
    return std::chrono::steady_clock::now().time_since_epoch();
}

namespace test {

ManualClock::ManualClock() {
    stoppedNanoseconds = monotonicTime().count();
    stopped = true;
}

ManualClock::~ManualClock() {
    stopped = false;
}

void ManualClock::advance(std::chrono::nanoseconds time) {
    stoppedNanoseconds += time.count();
}

} // namespace test
} // namespace ridge
