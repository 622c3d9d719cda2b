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
        model.receive(fromHost.take(now), now);
        model.advance(now);
        toHost.put(model.takeOutput(), now);
        const std::vector<std::uint8_t> out = toHost.take(now);
        if (!out.empty()) {
            write(out);
        }
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
