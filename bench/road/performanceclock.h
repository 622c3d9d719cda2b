#pragma once

#include <chrono>
#include <cstdint>

namespace ridge::bench {

using Time = std::chrono::nanoseconds;

/// The system's performance counter, which all processes and the port's driver share.
Time performanceTime();
Time performanceTime(std::int64_t counter);

double microseconds(Time time);

} // namespace ridge::bench
