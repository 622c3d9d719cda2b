#pragma once

#include "scannermodel.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace ridge::simulator {

/// A place on the line: the end of a frame, or so many bytes before or after it.
struct UnplugPoint {
    Direction direction = Direction::toHost;
    /// Counts from 1; 0 is before the first byte.
    std::uint32_t frame = 0;
    std::int32_t bytes = 0;

    bool operator==(const UnplugPoint&) const = default;
};

/// From "to-host 3 -1": the byte before the end of the third frame to the host. Throws
/// std::invalid_argument.
UnplugPoint parseUnplugPoint(const std::string& text);

/// Finds the place among the bytes that pass. One byte before a frame's end is as early as it goes.
class UnplugPointFinder {
public:
    explicit UnplugPointFinder(const UnplugPoint& unplugPoint);

    /// How many of these bytes, which pass next, come before the place; nothing when the place is
    /// further on.
    std::optional<std::size_t> find(Direction direction, std::span<const std::uint8_t> bytes);

private:
    UnplugPoint point;
    std::uint32_t framesEnded = 0;
    /// Known once the frame's end is.
    std::optional<std::size_t> bytesLeft;
};

} // namespace ridge::simulator
