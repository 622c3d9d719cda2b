#pragma once

#include "memoryline.h"
#include "scannermodel.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>

namespace ridge::test {

enum class Lane { toScanner, toHost };

enum class FaultKind {
    drop,
    doubled,
    flip,
    /// The line dies: what follows is lost, writes fail, and the port reports a failure.
    unplug
};

/// What goes wrong with one byte of the line.
struct LineFault {
    FaultKind kind = FaultKind::drop;
    Lane lane = Lane::toHost;
    /// The byte's place among all that go that way.
    std::size_t offset = 0;
    unsigned bit = 0;
};

/// A simulated scanner at the far end of a line in memory on which one thing goes wrong. The
/// scanner's time jumps to what comes next.
class FaultyLine {
public:
    FaultyLine(const std::string& portName, simulator::ScannerConfig config,
               std::optional<LineFault> fault = std::nullopt, std::size_t pieceSize = 0);

    /// The bytes that have come onto a lane so far.
    [[nodiscard]] std::size_t count(Lane lane) const {
        return counts[static_cast<std::size_t>(lane)];
    }
    [[nodiscard]] bool faultHappened() const { return happened; }

private:
    void onHostWrite(const Bytes& bytes);
    Bytes carry(Lane lane, const Bytes& bytes);
    void send(const Bytes& bytes);

    simulator::ScannerModel model;
    simulator::Time now{0};
    std::optional<LineFault> fault;
    std::size_t pieceSize;
    std::array<std::size_t, 2> counts{};
    bool happened = false;
    bool dead = false;
    MemoryLine line;
};

} // namespace ridge::test
