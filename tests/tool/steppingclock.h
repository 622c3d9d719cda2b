#pragma once

#include "clock.h"

namespace ridge::test {

/// A clock on which the same time passes from one look at it to the next.
class SteppingClock final : public tool::Clock {
public:
    explicit SteppingClock(std::chrono::milliseconds timeBetweenLooks) : step(timeBetweenLooks) {}

    [[nodiscard]] Time now() const override {
        time += step;
        return time;
    }

private:
    const std::chrono::milliseconds step;
    mutable Time time{};
};

} // namespace ridge::test
