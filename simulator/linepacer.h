#pragma once

#include "simulatedtime.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace ridge::simulator {

/// Says when bytes have crossed a serial line. Every byte takes ten bit times. All moments are
/// computed from the start of a busy period, so that rounding never adds up; a line that is
/// asked late catches up.
class LinePacer {
public:
    /// Baud 0 is a line without delay.
    explicit LinePacer(std::uint32_t baud);

    /// Puts bytes behind those already under way.
    void queue(std::size_t bytes, Time now);

    /// How many bytes have crossed the line by now and have not been taken before.
    std::size_t take(Time now);

    /// When `slice` more bytes, or all that remain if they are fewer, will have crossed. Nothing
    /// when no byte is under way.
    [[nodiscard]] std::optional<Time> nextDeadline(std::size_t slice = 1) const;

    /// Bytes queued and not yet taken.
    [[nodiscard]] std::size_t pending() const;

    /// Drops what is under way.
    void clear();

private:
    [[nodiscard]] std::uint64_t crossedBy(Time now) const;
    [[nodiscard]] Time arrivalOf(std::uint64_t bytes) const;

    std::uint32_t baud;
    Time periodStart{0};
    std::uint64_t periodBytes = 0;
    std::uint64_t periodTaken = 0;
    // Bytes of an earlier busy period, all across the line.
    std::uint64_t arrived = 0;
};

} // namespace ridge::simulator
