#pragma once

#include "simulatedtime.h"

#include <cstdint>
#include <deque>
#include <optional>

namespace ridge::simulator {

/// How a finger comes to lie on the sensor.
struct FingerBehaviour {
    /// From the start of a capture until the finger is placed; nothing when it never comes.
    std::optional<Time> delay = std::chrono::milliseconds(400);
    /// How often it is placed and lifted again too early.
    std::uint32_t earlyLifts = 0;
    /// How long it lies, and stays away, each of these times.
    Time touch = std::chrono::milliseconds(200);
    /// From the last placing until the image is ready.
    Time acquisition = std::chrono::milliseconds(150);
};

/// What the sensor sees in the course of one capture.
class FingerTimeline {
public:
    FingerTimeline(Time start, const FingerBehaviour& behaviour);

    /// True once for every placing or lifting of the finger up to now.
    bool takeEvent(Time now);

    [[nodiscard]] bool imageReady(Time now) const;
    /// Nothing when the finger never comes.
    [[nodiscard]] std::optional<Time> imageTime() const { return ready; }
    [[nodiscard]] std::optional<Time> nextEvent() const;

private:
    std::deque<Time> events;
    std::optional<Time> ready;
};

} // namespace ridge::simulator
