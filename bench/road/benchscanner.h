#pragma once

#include "linepacer.h"
#include "performanceclock.h"
#include "scannermodel.h"
#include "serialend.h"
#include "virtualport.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ridge::bench {

/// A scanner whose images are there at once and whose blocks have one size.
struct ScannerKind {
    /// 0 is a line without delay.
    std::uint32_t baud = 0;
    std::size_t blockSize = 0;
    std::size_t chunkSize = 0;

    /// As on the command line: BAUD:BLOCK:CHUNK
    [[nodiscard]] std::string text() const;
    /// Throws std::invalid_argument.
    static ScannerKind parse(const std::string& text);
};

/// What a paced line and its host did.
struct LineTimes {
    /// From each data packet's last byte on the line to the acknowledgement's first.
    std::vector<Time> turnarounds;
    /// How long the last byte of each answer and data packet came after it should have.
    std::vector<Time> delays;
};

/// The scanner's end of a virtual port of its own, for measuring what is at the other. The line is
/// paced by the moments at which the driver took the host's bytes, and those at which the scanner's
/// own should come: how long this program takes to notice does not add up.
class BenchScanner {
public:
    /// Its pictures are pieces of the fingerprint, and others than those of another number.
    BenchScanner(const ScannerKind& kind, const simulator::GreyImage& fingerprint,
                 std::uint32_t number);

    [[nodiscard]] std::uint32_t portNumber() const { return port->number(); }

    /// Returns when it is told to stop.
    void run();
    void stop() { line.stop(); }

    /// What was measured since the last call.
    LineTimes takeTimes();

private:
    [[nodiscard]] std::optional<Time> nextDeadline() const;
    bool waitUntil(std::optional<Time> deadline);
    void collect();
    void receive(Time now);
    void send(Time now);
    void notePacketFromHost(const Packet& packet);

    bool paced;
    std::unique_ptr<simulator::VirtualPort> port;
    SerialEnd line;
    simulator::ScannerModel model;
    simulator::LinePacer fromHost;
    simulator::LinePacer toHost;
    std::vector<std::uint8_t> request;
    std::vector<std::uint8_t> answer;
    std::size_t answerSent = 0;
    Time answerDue{0};
    Time turnaround{0};
    /// Guards `times`.
    std::mutex mutex;
    LineTimes times;
};

} // namespace ridge::bench
