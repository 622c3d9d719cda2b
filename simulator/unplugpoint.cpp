#include "unplugpoint.h"

#include "lineframing.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace ridge::simulator {

UnplugPoint parseUnplugPoint(const std::string& text) {
    std::istringstream words(text);
    std::string direction;
    UnplugPoint point;
    std::int64_t frame = -1;
    words >> direction >> frame >> point.bytes;
    const bool complete = !words.fail() && (words >> std::ws).eof();
    const bool known = direction == "to-host" || direction == "from-host";
    if (!complete || !known || frame < 0 || frame > INT32_MAX || point.bytes < -1 ||
        (frame == 0 && point.bytes < 0)) {
        throw std::invalid_argument("\"" + text +
                                    "\" is no place on the line, such as \"to-host 3 -1\": "
                                    "to-host or from-host, a frame, and bytes from -1 on");
    }
    point.direction = direction == "to-host" ? Direction::toHost : Direction::fromHost;
    point.frame = static_cast<std::uint32_t>(frame);
    return point;
}

UnplugPointFinder::UnplugPointFinder(const UnplugPoint& unplugPoint) : point(unplugPoint) {
    if (point.frame == 0) {
        bytesLeft = static_cast<std::size_t>(point.bytes);
    }
}

std::optional<std::size_t> UnplugPointFinder::find(Direction direction,
                                                   std::span<const std::uint8_t> bytes) {
    if (direction != point.direction) {
        return std::nullopt;
    }
    std::size_t passed = 0;
    while (!bytesLeft && passed < bytes.size()) {
        const bool frameEnds = bytes[passed++] == frameEnd;
        framesEnded += frameEnds ? 1 : 0;
        if (frameEnds && framesEnded == point.frame) {
            if (point.bytes < 0) {
                return passed - 1;
            }
            bytesLeft = static_cast<std::size_t>(point.bytes);
        }
    }
    if (!bytesLeft) {
        return std::nullopt;
    }
    const std::size_t available = bytes.size() - passed;
    if (*bytesLeft > available) {
        *bytesLeft -= available;
        return std::nullopt;
    }
    return passed + *bytesLeft;
}

} // namespace ridge::simulator
