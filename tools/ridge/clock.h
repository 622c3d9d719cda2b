#pragma once

#include <chrono>

namespace ridge::tool {

/// Tells how much time passes; tests let it pass as they like.
class Clock {
public:
    using Time = std::chrono::steady_clock::time_point;

    Clock() = default;
    virtual ~Clock() = default;

    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;

    [[nodiscard]] virtual Time now() const = 0;
};

class SteadyClock final : public Clock {
public:
    [[nodiscard]] Time now() const override { return std::chrono::steady_clock::now(); }
};

} // namespace ridge::tool
