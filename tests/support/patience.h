#pragma once

#include <chrono>
#include <thread>

namespace ridge::test {

/// How long a test waits for what must come, before it fails.
inline constexpr std::chrono::minutes patience{1};

/// Waits for what nobody tells of. False when it has not come about after all that patience.
template <typename Condition>
bool comesAbout(const Condition& condition) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

} // namespace ridge::test
