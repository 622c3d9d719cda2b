#include "scannerloop.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace ridge::simulator {
namespace {

/// Bytes that go out together, as in the packets of a USB bridge.
constexpr std::size_t slice = 62;

std::optional<Time> earlier(std::optional<Time> left, std::optional<Time> right) {
    if (!left || !right) {
        return left ? left : right;
    }
    return std::min(*left, *right);
}

} // namespace

ScannerLoop::ScannerLoop(ScannerModel& scanner, Mailbox& box, std::uint32_t baud, Write writeOut)
    : model(scanner), mailbox(box), write(std::move(writeOut)), fromHost(baud), toHost(baud) {}

void ScannerLoop::run() {
    while (true) {
        const Mail mail = mailbox.takeUntil(nextDeadline());
        if (mail.ended) {
            return;
        }
        for (const std::string& command : mail.commands) {
            obey(command);
        }
        const Time now = monotonicNow();
        fromHost.put(mail.bytes, now);
        receive(now);
        send(now);
    }
}

void ScannerLoop::unplugAt(const std::optional<UnplugPoint>& point, Unplug unplugLine) {
    unplugFinder.reset();
    if (point) {
        unplugFinder.emplace(*point);
    }
    unplug = std::move(unplugLine);
}

void ScannerLoop::receive(Time now) {
    const std::vector<std::uint8_t> in = fromHost.take(now);
    model.receive(untilUnplugged(Direction::fromHost, in), now);
    unplugIfReached();
    model.advance(now);
}

void ScannerLoop::send(Time now) {
    toHost.put(model.takeOutput(), now);
    const std::vector<std::uint8_t> out = toHost.take(now);
    const std::span<const std::uint8_t> crossing = untilUnplugged(Direction::toHost, out);
    if (!crossing.empty()) {
        write(crossing);
    }
    unplugIfReached();
}

std::span<const std::uint8_t> ScannerLoop::untilUnplugged(Direction direction,
                                                          std::span<const std::uint8_t> bytes) {
    const std::optional<std::size_t> place =
        unplugFinder ? unplugFinder->find(direction, bytes) : std::nullopt;
    unplugReached = place.has_value();
    return bytes.first(place.value_or(bytes.size()));
}

void ScannerLoop::unplugIfReached() {
    if (unplugReached) {
        unplugReached = false;
        unplugFinder.reset();
        const Unplug pull = std::exchange(unplug, [] {});
        pull();
    }
}

void ScannerLoop::cutLine() {
    fromHost.clear();
    toHost.clear();
    model.disconnect();
}

std::optional<Time> ScannerLoop::nextDeadline() const {
    return earlier(model.nextDeadline(),
                   earlier(fromHost.pacer.nextDeadline(slice), toHost.pacer.nextDeadline(slice)));
}

void ScannerLoop::Lane::put(std::span<const std::uint8_t> more, Time now) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    pacer.queue(more.size(), now);
}

std::vector<std::uint8_t> ScannerLoop::Lane::take(Time now) {
    const auto end = bytes.begin() + static_cast<std::ptrdiff_t>(pacer.take(now));
    std::vector<std::uint8_t> crossed(bytes.begin(), end);
    bytes.erase(bytes.begin(), end);
    return crossed;
}

void ScannerLoop::Lane::clear() {
    pacer.clear();
    bytes.clear();
}

} // namespace ridge::simulator
