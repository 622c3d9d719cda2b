// What a session costs while nothing happens.

#include "libraryhost.h"
#include "rows.h"

#include <chrono>
#include <stdexcept>

#include <windows.h>

namespace ridge::bench {

std::vector<Row> measureIdleSession(Road& road) {
    constexpr DWORD idleMs = 3000;
    constexpr double idleSeconds = idleMs / 1000.0;
    const auto before = road.process.threads();
    const LibraryHost host(road.scanners.portName(firstStandard));
    // The library's threads come to rest.
    Sleep(100);
    const auto start = road.process.threads();
    Sleep(idleMs);
    const auto end = road.process.threads();
    std::uint64_t switches = 0;
    std::chrono::duration<double, std::micro> processorTime{0};
    int threads = 0;
    for (const auto& [number, use] : end) {
        if (!before.contains(number)) {
            ++threads;
            switches += use.switches - start.at(number).switches;
            processorTime += use.processorTime - start.at(number).processorTime;
        }
    }
    if (threads != 2) {
        throw std::runtime_error("a session has another number of threads than two");
    }
    Row wakeUps = report("idle session: wake-ups of the library's threads",
                         static_cast<double>(switches) / idleSeconds, "per second");
    wakeUps.ratio = wakeUps.ours;
    wakeUps.ratioOf = "ours itself";
    wakeUps.target = "<= 0";
    return {wakeUps, report("idle session: processor time of the library's threads",
                            processorTime.count() / idleSeconds, "us per second")};
}

} // namespace ridge::bench
