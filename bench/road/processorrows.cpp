// The processor time of a captured image.

#include "libraryhost.h"
#include "minimalhost.h"
#include "rows.h"

#include <chrono>

namespace ridge::bench {
namespace {

constexpr int roundCount = 7;
constexpr int capturesPerRound = 24;

template <typename Capture>
double processorMs(const UnixProcess& process, Capture capture) {
    const auto before = process.processorTime();
    for (int number = 0; number < capturesPerRound; ++number) {
        capture();
    }
    const std::chrono::duration<double, std::milli> used = process.processorTime() - before;
    return used.count() / capturesPerRound;
}

} // namespace

std::vector<Row> measureProcessorTime(Road& road) {
    LibraryHost library(road.scanners.portName(firstStandard));
    MinimalHost minimal(road.scanners.portName(firstStandard + 1));
    minimal.greet();
    std::vector<double> ours;
    std::vector<double> reference;
    for (int round = 0; round < roundCount; ++round) {
        ours.push_back(processorMs(road.process, [&] { library.capture(); }));
        reference.push_back(
            processorMs(road.process, [&] { minimal.capture(packetsOf(standardBlock)); }));
    }
    return {comparison("processor time of a capture of 100000 bytes unpaced, / minimal host", ours,
                       reference, "ms")};
}

} // namespace ridge::bench
