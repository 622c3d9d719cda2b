#pragma once

#include <chrono>

namespace ridge::test {

/// How long a test waits for what must come, before it fails.
inline constexpr std::chrono::minutes patience{1};

} // namespace ridge::test
