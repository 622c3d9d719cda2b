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

constexpr int rounds = 3;

/// What captures by one host took.
struct Captures {
    std::vector<double> wallMs;
    /// Without the delays of the line itself.
    std::vector<double> undelayedMs;
    /// What the line takes for the bytes that the host must wait for.
    std::vector<double> idealMs;
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
    // That of the answer with which the host was greeted: it is known when the capture begins.
    all.delays.erase(all.delays.begin());
    return all;
}

/// The host has been greeted before.
template <typename Capture>
void measureCapture(Road& road, std::size_t scanner, std::size_t packets, Captures& captures,
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
    const LineTimes times = timesOfCapture(road.scanners, scanner, packets);
    const Time delay = std::accumulate(times.delays.begin(), times.delays.end(), Time(0));
    captures.wallMs.push_back(wallMs);
    captures.undelayedMs.push_back(wallMs - milliseconds(delay));
    captures.idealMs.push_back(static_cast<double>(bytes) * bitsPerByte / lineBaud *
                               millisecondsPerSecond);
    captures.processorMs.push_back(milliseconds(processorAfter - processorBefore));
    append(captures.turnaroundsUs, times.turnarounds);
    append(captures.delaysUs, times.delays);
}

void measureLibrary(Road& road, std::size_t scanner, std::size_t packets, Captures& captures) {
    LibraryHost host(road.scanners.portName(scanner));
    measureCapture(road, scanner, packets, captures, [&] { return host.capture(); });
}

/// `Host` is one of the benchmark's own.
template <typename Host>
void measureHost(Road& road, std::size_t scanner, std::size_t packets, Captures& captures) {
    Host host(road.scanners.portName(scanner));
    host.greet();
    measureCapture(road, scanner, packets, captures, [&] { return host.capture(packets); });
}

void join(Captures& all, const Captures& part) {
    all.turnaroundsUs.insert(all.turnaroundsUs.end(), part.turnaroundsUs.begin(),
                             part.turnaroundsUs.end());
    all.delaysUs.insert(all.delaysUs.end(), part.delaysUs.begin(), part.delaysUs.end());
}

Row overIdeal(const std::string& measure, const std::vector<double>& timesMs,
              const Captures& captures) {
    Row row = comparison(measure + ", / ideal time of its bytes", timesMs, captures.idealMs, "ms");
    row.ratioOf = "time / ideal time of the line";
    return row;
}

/// Of figures whose rounds are not as many.
Row overMinimalHost(const std::string& measure, double library, double minimalHost,
                    const std::string& unit) {
    Row row = report(measure + ", / minimal host", library, unit);
    row.reference = minimalHost;
    row.ratio = library / minimalHost;
    row.ratioOf = "ours / minimal host";
    return row;
}

Row turnaroundRow(const std::string& packetSize, const std::string& name, double part,
                  const Captures& ours, const Captures& minimal) {
    return overMinimalHost("data packet's last byte to acknowledgement's first, " +
                               std::to_string(ours.turnaroundsUs.size()) + " packets of " +
                               packetSize + " bytes, " + name,
                           quantile(ours.turnaroundsUs, part),
                           quantile(minimal.turnaroundsUs, part), "us");
}

double mean(const std::vector<double>& values) {
    return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

/// The mean, since the system counts in steps that a median would keep.
Row processorRow(const std::string& capture, const Captures& ours, const Captures& minimal) {
    Row row = overMinimalHost("processor time of a " + capture, mean(ours.processorMs),
                              mean(minimal.processorMs), "ms");
    row.target = "<= 1.5";
    row.stretch = "<= 1.1";
    return row;
}

} // namespace

std::vector<Row> measurePacedCaptures(Road& road) {
    std::vector<Row> rows;
    Captures allOurs;
    Captures allMinimal;
    for (std::size_t index = 0; index < pacedBlocks.size(); ++index) {
        const std::size_t block = pacedBlocks.at(index);
        const std::size_t scanner = firstPaced + index;
        const bool isProcessorMeasured = block == standardBlock;
        Captures ours;
        Captures minimal;
        Captures threaded;
        for (int round = 0; round < rounds; ++round) {
            measureLibrary(road, scanner, packetsOf(block), ours);
            if (round == 0 || isProcessorMeasured) {
                measureHost<MinimalHost>(road, scanner, packetsOf(block), minimal);
            }
            if (index == 0) {
                measureHost<HandOffHost<LockBaton>>(road, scanner, packetsOf(block), threaded);
            }
        }
        const std::string capture = "paced capture of " + std::to_string(block) + " bytes";
        const std::string undelayed = ", without the line's own delays";
        Row wall = overIdeal(capture + ", wall time", ours.wallMs, ours);
        wall.target = "<= 1.0010";
        wall.stretch = "<= 1.0005";
        rows.push_back(wall);
        rows.push_back(overIdeal(capture + undelayed, ours.undelayedMs, ours));
        rows.push_back(
            overIdeal(capture + " by a minimal host, wall time", minimal.wallMs, minimal));
        rows.push_back(
            overIdeal(capture + " by a minimal host" + undelayed, minimal.undelayedMs, minimal));
        if (index == 0) {
            rows.push_back(
                overIdeal(capture + " by a host with the library's threads alone" + undelayed,
                          threaded.undelayedMs, threaded));
        }
        if (isProcessorMeasured) {
            rows.push_back(processorRow(capture, ours, minimal));
        }
        join(allOurs, ours);
        join(allMinimal, minimal);
    }
    rows.push_back(turnaroundRow("10000", "median", 0.5, allOurs, allMinimal));
    Captures ours;
    Captures minimal;
    const std::size_t shortPackets = packetsOf(pacedBlocks.front(), shortChunk);
    measureLibrary(road, pacedInShortChunks, shortPackets, ours);
    measureHost<MinimalHost>(road, pacedInShortChunks, shortPackets, minimal);
    rows.push_back(turnaroundRow("100", "median", 0.5, ours, minimal));
    rows.push_back(turnaroundRow("100", "99th percentile", 0.99, ours, minimal));
    join(allOurs, ours);
    join(allMinimal, minimal);
    rows.push_back(overMinimalHost("delay of a packet's last byte by the paced line itself",
                                   median(allOurs.delaysUs), median(allMinimal.delaysUs), "us"));
    return rows;
}

} // namespace ridge::bench
