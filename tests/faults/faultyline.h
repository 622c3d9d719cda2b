#pragma once

#include "memoryline.h"
#include "scannermodel.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
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

    [[nodiscard]] const std::string& port() const { return name; }

    /// What happens when the scanner has got a request of this code, before it answers; nothing
    /// when null. Not while the host uses the line.
    void onRequest(std::uint8_t code, std::function<void()> action);

    /// The most bytes that have gone to the host at once.
    [[nodiscard]] std::size_t longestBurst() const { return longest; }
    [[nodiscard]] bool faultHappened() const { return happened; }

private:
    void onHostWrite(const Bytes& bytes);
    Bytes carry(Lane lane, const Bytes& bytes);
    void send(const Bytes& bytes);

    const std::string name;
    simulator::ScannerModel model;
    simulator::Time now{0};
    std::optional<LineFault> fault;
    std::size_t pieceSize;
    std::array<std::size_t, 2> counts{};
    std::size_t longest = 0;
    bool happened = false;
    bool dead = false;
    MemoryLine line;
};

} // namespace ridge::test
