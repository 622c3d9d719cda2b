#pragma once

#include <chrono>

namespace ridge {

/// Time that only runs forward, from an arbitrary origin.
std::chrono::nanoseconds monotonicTime();

} // namespace ridge
