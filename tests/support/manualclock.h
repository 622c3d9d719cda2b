#pragma once

#include <chrono>

namespace ridge::test {

/// Stops the library's monotonic clock while it lives; time passes only when it is advanced.
/// One at a time.
class ManualClock {
public:
    ManualClock();
    ~ManualClock();

    ManualClock(const ManualClock&) = delete;
    ManualClock& operator=(const ManualClock&) = delete;

    /// From any thread.
    void advance(std::chrono::nanoseconds time);
};

} // namespace ridge::test
