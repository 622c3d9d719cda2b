#include "linepacer.h"

#include <algorithm>

namespace ridge::simulator {

namespace {

constexpr std::uint64_t bitsPerByte = 10;
constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;

} // namespace

LinePacer::LinePacer(std::uint32_t baud) : baud(baud) {}

void LinePacer::queue(std::size_t bytes, Time now) {
    if (periodTaken == periodBytes || now >= arrivalOf(periodBytes)) {
        arrived += periodBytes - periodTaken;
        periodStart = now;
        periodBytes = 0;
        periodTaken = 0;
    }
    periodBytes += bytes;
}

std::size_t LinePacer::take(Time now) {
    const std::uint64_t crossed = std::max(crossedBy(now), periodTaken);
    const std::uint64_t result = arrived + crossed - periodTaken;
    arrived = 0;
    periodTaken = crossed;
    return static_cast<std::size_t>(result);
}

std::optional<Time> LinePacer::nextDeadline(std::size_t slice) const {
    if (pending() == 0) {
        return std::nullopt;
    }
    const std::uint64_t wanted = std::max<std::uint64_t>(slice, 1);
    if (arrived >= wanted || periodBytes == periodTaken) {
        return periodStart;
    }
    return arrivalOf(std::min(periodTaken + (wanted - arrived), periodBytes));
}

std::size_t LinePacer::pending() const {
    return static_cast<std::size_t>(arrived + periodBytes - periodTaken);
}

void LinePacer::clear() {
    arrived = 0;
    periodBytes = 0;
    periodTaken = 0;
}

std::uint64_t LinePacer::crossedBy(Time now) const {
    if (baud == 0) {
        return periodBytes;
    }
    if (now <= periodStart) {
        return 0;
    }
    // Split at the second: the product of nanoseconds and baud would overflow within hours.
    const auto elapsed = static_cast<std::uint64_t>((now - periodStart).count());
    const std::uint64_t seconds = elapsed / nanosecondsPerSecond;
    const std::uint64_t rest = elapsed % nanosecondsPerSecond;
    const std::uint64_t bits = seconds * baud + rest * baud / nanosecondsPerSecond;
    return std::min(bits / bitsPerByte, periodBytes);
}

Time LinePacer::arrivalOf(std::uint64_t bytes) const {
    if (baud == 0) {
        return periodStart;
    }
    const std::uint64_t bits = bytes * bitsPerByte;
    const std::uint64_t rest = bits % baud * nanosecondsPerSecond;
    const std::uint64_t nanoseconds = bits / baud * nanosecondsPerSecond + (rest + baud - 1) / baud;
    return periodStart + Time(static_cast<Time::rep>(nanoseconds));
}

} // namespace ridge::simulator
