#include "benchscanner.h"

#include "blockimages.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace ridge::bench {
namespace {

/// Bytes that go out together, as in the packets of a USB bridge.
constexpr std::size_t slice = 62;
/// The system's waits are too coarse for the end of a packet.
constexpr Time spinningTime = std::chrono::milliseconds(2);

simulator::ScannerConfig configOf(const ScannerKind& kind, const simulator::GreyImage& fingerprint,
                                  std::uint32_t number) {
    simulator::ScannerConfig config;
    config.finger.delay = Time(0);
    config.finger.acquisition = Time(0);
    config.chunkSize = kind.chunkSize;
    fillBlocks(config, fingerprint, kind.blockSize, number);
    return config;
}

} // namespace

std::string ScannerKind::text() const {
    return std::to_string(baud) + ":" + std::to_string(blockSize) + ":" + std::to_string(chunkSize);
}

ScannerKind ScannerKind::parse(const std::string& text) {
    ScannerKind kind;
    const char* position = text.data();
    const char* const end = position + text.size();
    const auto next = [&](auto& number, bool last) {
        const auto [stop, error] = std::from_chars(position, end, number);
        if (error != std::errc() || (last ? stop != end : stop == end || *stop != ':')) {
            throw std::invalid_argument("not BAUD:BLOCK:CHUNK: " + text);
        }
        position = stop + 1;
    };
    next(kind.baud, false);
    next(kind.blockSize, false);
    next(kind.chunkSize, true);
    return kind;
}

BenchScanner::BenchScanner(const ScannerKind& kind, const simulator::GreyImage& fingerprint,
                           std::uint32_t number)
    : paced(kind.baud != 0), port(simulator::createFreePort()), line(port->lineName()),
      model(configOf(kind, fingerprint, number)), fromHost(kind.baud), toHost(kind.baud) {
    model.setTrace([this](simulator::Direction direction, const Packet& packet) {
        if (direction == simulator::Direction::fromHost) {
            notePacketFromHost(packet);
        }
    });
}

void BenchScanner::run() {
    while (waitUntil(nextDeadline())) {
        const Time now = performanceTime();
        receive(now);
        send(now);
    }
}

LineTimes BenchScanner::takeTimes() {
    const std::lock_guard lock(mutex);
    return std::exchange(times, {});
}

std::optional<Time> BenchScanner::nextDeadline() const {
    if (fromHost.pending() != 0) {
        return fromHost.nextDeadline(fromHost.pending());
    }
    return toHost.nextDeadline(slice);
}

/// False when the scanner is to stop.
bool BenchScanner::waitUntil(std::optional<Time> deadline) {
    const bool exact = fromHost.pending() != 0 || toHost.pending() <= slice;
    DWORD timeoutMs = INFINITE;
    if (deadline) {
        using std::chrono::milliseconds;
        const Time left = *deadline - performanceTime();
        const milliseconds whole = exact ? std::chrono::floor<milliseconds>(left - spinningTime)
                                         : std::chrono::ceil<milliseconds>(left);
        timeoutMs = static_cast<DWORD>(std::max(whole, milliseconds(0)).count());
    }
    switch (line.await(timeoutMs)) {
    case Awaited::stop:
        return false;
    case Awaited::bytes:
        collect();
        return true;
    case Awaited::timeout:
        break;
    }
    while (exact && performanceTime() < *deadline) {
        YieldProcessor();
    }
    return true;
}

/// Takes the host's bytes; they began to cross the line when the driver took them.
void BenchScanner::collect() {
    const std::size_t before = request.size();
    for (auto bytes = line.read(); !bytes.empty(); bytes = line.read()) {
        request.insert(request.end(), bytes.begin(), bytes.end());
    }
    const std::size_t size = request.size() - before;
    if (size == 0) {
        return;
    }
    Time start = performanceTime();
    if (paced) {
        const simulator::PortState state = port->state();
        start = performanceTime(state.hostLastSent);
        const Time sent = performanceTime(state.lineLastSent);
        turnaround = start - sent;
        if (answerDue != Time(0)) {
            const std::lock_guard lock(mutex);
            times.delays.push_back(sent - answerDue);
        }
    }
    fromHost.queue(size, start);
}

/// The host's bytes reach the scanner when all of them have crossed, and its answer begins then.
void BenchScanner::receive(Time now) {
    const std::optional<Time> due = fromHost.nextDeadline(fromHost.pending());
    if (!due || now < *due) {
        return;
    }
    fromHost.take(now);
    answerDue = Time(0);
    model.receive(std::exchange(request, {}), *due);
    const std::vector<std::uint8_t> more = model.takeOutput();
    if (!more.empty()) {
        answer.insert(answer.end(), more.begin(), more.end());
        toHost.queue(more.size(), *due);
        answerDue = *toHost.nextDeadline(toHost.pending());
    }
}

void BenchScanner::send(Time now) {
    const std::size_t size = toHost.take(now);
    if (size == 0) {
        return;
    }
    line.write(std::span(answer).subspan(answerSent, size));
    answerSent += size;
    if (answerSent == answer.size()) {
        answer.clear();
        answerSent = 0;
    }
}

void BenchScanner::notePacketFromHost(const Packet& packet) {
    if (paced && packet.type == packetTypeResponse) {
        const std::lock_guard lock(mutex);
        times.turnarounds.push_back(turnaround);
    }
}

} // namespace ridge::bench
