#pragma once

#include <chrono>

namespace ridge::simulator {

/// A moment, counted from an origin of the caller's choice, or a span between two. The simulator
/// has no clock of its own: whoever drives it says what time it is.
using Time = std::chrono::nanoseconds;

} // namespace ridge::simulator
