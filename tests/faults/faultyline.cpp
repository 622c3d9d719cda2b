#include "faultyline.h"

#include "packet.h"
#include "ridgeexception.h"
#include "scannerturn.h"

#include <algorithm>
#include <utility>

namespace ridge::test {
namespace {

[[noreturn]] void throwWriteFailure() {
    throw RIDGE_EXCEPTION(5, "Error writing to device port. %s", "unplugged");
}

} // namespace

FaultyLine::FaultyLine(const std::string& portName, simulator::ScannerConfig config,
                       std::optional<LineFault> lineFault, std::size_t piece)
    : name(portName), model(std::move(config)), fault(lineFault), pieceSize(piece), line(portName) {
    line.onHostWrite([this](const Bytes& bytes) { onHostWrite(bytes); });
}

void FaultyLine::onRequest(std::uint8_t code, std::function<void()> action) {
    if (!action) {
        model.setTrace(nullptr);
        return;
    }
    model.setTrace(
        [code, act = std::move(action)](simulator::Direction direction, const Packet& packet) {
            if (direction == simulator::Direction::fromHost && packet.type == packetTypeRequest &&
                packet.code == code) {
                act();
            }
        });
}

void FaultyLine::onHostWrite(const Bytes& bytes) {
    if (dead) {
        throwWriteFailure();
    }
    const Bytes output = scannerTurn(model, now, carry(Lane::toScanner, bytes));
    if (!dead) {
        send(carry(Lane::toHost, output));
    }
    if (dead) {
        line.postFailure("unplugged");
    }
    if (dead && fault->lane == Lane::toScanner) {
        throwWriteFailure();
    }
}

Bytes FaultyLine::carry(Lane lane, const Bytes& bytes) {
    Bytes carried;
    for (const std::uint8_t byte : bytes) {
        const std::size_t place = counts[static_cast<std::size_t>(lane)]++;
        if (!fault || fault->lane != lane || fault->offset != place) {
            carried.push_back(byte);
            continue;
        }
        happened = true;
        switch (fault->kind) {
        case FaultKind::drop:
            break;
        case FaultKind::doubled:
            carried.insert(carried.end(), 2, byte);
            break;
        case FaultKind::flip:
            carried.push_back(static_cast<std::uint8_t>(byte ^ (1U << fault->bit)));
            break;
        case FaultKind::unplug:
            dead = true;
            return carried;
        }
    }
    return carried;
}

void FaultyLine::send(const Bytes& bytes) {
    longest = std::max(longest, bytes.size());
    const std::size_t piece = pieceSize == 0 ? bytes.size() : pieceSize;
    for (std::size_t begin = 0; begin < bytes.size(); begin += piece) {
        const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(begin);
        const auto length = std::min(piece, bytes.size() - begin);
        line.deliver(Bytes(from, from + static_cast<std::ptrdiff_t>(length)));
    }
}

} // namespace ridge::test
