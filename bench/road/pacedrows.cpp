// Captures at the pace of a real line.

#include "handoffhost.h"
#include "libraryhost.h"
#include "minimalhost.h"
#include "portcontrol.h"
#include "rows.h"
#include "statistics.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace ridge::bench {
namespace {

constexpr std::array<int, pacedBlocks.size()> rounds{4, 2, 2, 1};

struct Side {
    /// Without the delays of the line itself.
    std::vector<double> timesMs;
    std::vector<double> wallMs;
    /// What the line takes for the bytes that the host must wait for.
    std::vector<double> idealMs;
    std::vector<double> ratios;
    std::vector<double> processorMs;
    std::vector<double> turnaroundsUs;
    std::vector<double> delaysUs;
};

std::uint64_t bytesOnLine(const simulator::PortControl& port) {
    const simulator::PortState state = port.state();
    return state.bytesFromHost + state.bytesFromLine;
}

void append(std::vector<double>& values, const std::vector<Time>& times) {
    std::transform(times.begin(), times.end(), std::back_inserter(values), microseconds);
}

double milliseconds(Time time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

/// What the line did in a capture, when the scanner has seen all acknowledgements.
LineTimes timesOfCapture(ScannerProcess& scanners, std::size_t scanner, std::size_t packets) {
    LineTimes all;
    while (all.turnarounds.size() < packets) {
        const LineTimes some = scanners.takeTimes(scanner);
        all.turnarounds.insert(all.turnarounds.end(), some.turnarounds.begin(),
                               some.turnarounds.end());
        all.delays.insert(all.delays.end(), some.delays.begin(), some.delays.end());
    }
    // That of the answer before the capture.
    all.delays.erase(all.delays.begin());
    return all;
}

template <typename Capture>
void measureCapture(Road& road, std::size_t scanner, std::size_t packets, Side& side,
                    Capture capture) {
    static const Requests requests;
    const simulator::PortControl port(road.scanners.portNumber(scanner));
    road.scanners.takeTimes(scanner);
    const std::uint64_t bytesBefore = bytesOnLine(port);
    const auto processorBefore = road.process.processorTime();
    const double wallMs = milliseconds(capture());
    const auto processorAfter = road.process.processorTime();
    // Nobody waits for the last acknowledgement to cross.
    const std::uint64_t bytes = bytesOnLine(port) - bytesBefore - requests.acknowledgement.size();
    constexpr double bitsPerByte = 10;
    constexpr double millisecondsPerSecond = 1000;
    const double idealMs =
        static_cast<double>(bytes) * bitsPerByte / lineBaud * millisecondsPerSecond;
    const LineTimes times = timesOfCapture(road.scanners, scanner, packets);
    const Time delay = std::accumulate(times.delays.begin(), times.delays.end(), Time(0));
    side.timesMs.push_back(wallMs - milliseconds(delay));
    side.wallMs.push_back(wallMs);
    side.idealMs.push_back(idealMs);
    side.ratios.push_back(side.timesMs.back() / idealMs);
    side.processorMs.push_back(milliseconds(processorAfter - processorBefore));
    append(side.turnaroundsUs, times.turnarounds);
    append(side.delaysUs, times.delays);
}

void measureBoth(Road& road, std::size_t scanner, std::size_t packets, Side& ours, Side& minimal) {
    const std::string portName = road.scanners.portName(scanner);
    {
        LibraryHost host(portName);
        measureCapture(road, scanner, packets, ours, [&] { return host.capture(); });
    }
    MinimalHost host(portName);
    host.greet();
    measureCapture(road, scanner, packets, minimal, [&] { return host.capture(packets); });
}

void join(Side& all, const Side& part) {
    all.turnaroundsUs.insert(all.turnaroundsUs.end(), part.turnaroundsUs.begin(),
                             part.turnaroundsUs.end());
    all.delaysUs.insert(all.delaysUs.end(), part.delaysUs.begin(), part.delaysUs.end());
}

Row overIdeal(const std::string& measure, const Side& side) {
    Row row = comparison(measure, side.timesMs, side.idealMs, "ms");
    row.ratioOf = "time / ideal time of the line";
    return row;
}

Row wallOverIdeal(const std::string& measure, const Side& side) {
    Row row = comparison(measure, side.wallMs, side.idealMs, "ms");
    row.ratioOf = "wall time / ideal time of the line";
    return row;
}

void addTurnarounds(std::vector<Row>& rows, const std::string& packets, const Side& ours,
                    const Side& minimal) {
    for (const auto& [name, part] :
         {std::pair{"median", 0.5}, std::pair{"99th percentile", 0.99}}) {
        const double library = quantile(ours.turnaroundsUs, part);
        const double reference = quantile(minimal.turnaroundsUs, part);
        Row row =
            report("data packet's last byte to acknowledgement's first, " + packets + ", " + name,
                   library, "us");
        row.reference = reference;
        row.ratio = library / reference;
        row.ratioOf = "ours / minimal host";
        rows.push_back(row);
    }
}

/// A host with the library's threads and the fastest hand-offs, and nothing else of the library.
void addThreadedHost(std::vector<Row>& rows, Road& road, std::size_t index) {
    const std::size_t scanner = firstPaced + index;
    const std::size_t packets = packetsOf(pacedBlocks.at(index));
    Side side;
    HandOffHost<LockBaton> host(road.scanners.portName(scanner));
    host.greet();
    for (int round = 0; round < rounds.at(index); ++round) {
        measureCapture(road, scanner, packets, side, [&] { return host.capture(packets); });
    }
    const std::string name = "paced capture of " + std::to_string(pacedBlocks.at(index)) +
                             " bytes by a host with the library's threads alone";
    rows.push_back(overIdeal(name + ", likewise", side));
    rows.push_back(report(name + ", data packet's last byte to acknowledgement's first, median",
                          median(side.turnaroundsUs), "us"));
}

Row processorRow(std::size_t block, const Side& ours, const Side& minimal) {
    Row row = comparison("processor time of a captured image of " + std::to_string(block) +
                             " bytes, paced",
                         ours.processorMs, minimal.processorMs, "ms");
    if (block == standardBlock) {
        row.target = "<= 1.5";
        row.stretch = "<= 1.1";
    }
    return row;
}

} // namespace

std::vector<Row> measurePacedCaptures(Road& road) {
    std::vector<Row> rows;
    Side allOurs;
    Side allMinimal;
    for (std::size_t index = 0; index < pacedBlocks.size(); ++index) {
        const std::size_t block = pacedBlocks.at(index);
        Side ours;
        Side minimal;
        for (int round = 0; round < rounds.at(index); ++round) {
            measureBoth(road, firstPaced + index, packetsOf(block), ours, minimal);
        }
        const std::string name = "paced capture of " + std::to_string(block) + " bytes";
        Row row = overIdeal(name + ", without the line's own delays, over its ideal time", ours);
        row.target = "<= 1.0010";
        row.stretch = "<= 1.0005";
        rows.push_back(row);
        rows.push_back(overIdeal(name + " by a minimal host, likewise", minimal));
        Row wall = wallOverIdeal(name + ", wall time over the line's ideal time", ours);
        wall.target = row.target;
        wall.stretch = row.stretch;
        rows.push_back(wall);
        rows.push_back(comparison(name + ", over the minimal host", ours.ratios, minimal.ratios,
                                  "of the ideal time"));
        rows.push_back(processorRow(block, ours, minimal));
        join(allOurs, ours);
        join(allMinimal, minimal);
    }
    addTurnarounds(rows, "packets of 10000 bytes", allOurs, allMinimal);
    for (const std::size_t index : {std::size_t{0}, std::size_t{1}}) {
        addThreadedHost(rows, road, index);
    }
    Side ours;
    Side minimal;
    measureBoth(road, pacedInShortChunks, packetsOf(pacedBlocks.front(), shortChunk), ours,
                minimal);
    addTurnarounds(rows, "packets of 100 bytes", ours, minimal);
    join(allOurs, ours);
    join(allMinimal, minimal);
    rows.push_back(comparison("delay of a packet's last byte by the paced line itself",
                              {median(allOurs.delaysUs)}, {median(allMinimal.delaysUs)}, "us"));
    return rows;
}

} // namespace ridge::bench
