// How captures grow with their size and with the number of contexts, on lines without delay.

#include "libraryhost.h"
#include "minimalhost.h"
#include "rows.h"
#include "statistics.h"

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace ridge::bench {
namespace {

constexpr int growthRounds = 15;
constexpr int capturesPerRound = 6;
constexpr int capturesPerContext = 8;
constexpr int contextRounds = 3;

/// The times of captures of each size.
using Times = std::array<std::vector<double>, growthBlocks.size()>;

struct Growth {
    Times ours;
    Times minimal;
};

void measureSizes(Road& road, Growth& growth) {
    for (std::size_t index = 0; index < growthBlocks.size(); ++index) {
        const std::string portName = road.scanners.portName(firstGrowing + index);
        {
            LibraryHost host(portName);
            for (int number = 0; number < capturesPerRound; ++number) {
                growth.ours.at(index).push_back(microseconds(host.capture()));
            }
        }
        MinimalHost host(portName);
        const std::size_t packets = packetsOf(growthBlocks.at(index));
        for (int number = 0; number < capturesPerRound; ++number) {
            growth.minimal.at(index).push_back(microseconds(host.capture(packets)));
        }
    }
}

/// Nanoseconds for each byte by which the one size exceeds the other. The lower quartile: a longer
/// capture is disturbed more often by what else the machine does.
double costOfFurtherBytes(const Times& times, std::size_t from, std::size_t to) {
    constexpr double part = 0.25;
    constexpr double nanosecondsPerMicrosecond = 1000;
    const auto bytes = static_cast<double>(growthBlocks.at(to) - growthBlocks.at(from));
    return nanosecondsPerMicrosecond *
           (quantile(times.at(to), part) - quantile(times.at(from), part)) / bytes;
}

/// Megabytes per second of hosts that all capture at once.
template <typename Host, typename Capture>
double throughput(std::vector<std::unique_ptr<Host>>& hosts, std::size_t count, Capture capture) {
    const Time start = performanceTime();
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index < count; ++index) {
        threads.emplace_back([&, index] {
            for (int number = 0; number < capturesPerContext; ++number) {
                capture(*hosts[index]);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const double bytes = static_cast<double>(count * capturesPerContext * standardBlock);
    return bytes / microseconds(performanceTime() - start);
}

} // namespace

std::vector<Row> measureGrowth(Road& road) {
    Growth growth;
    for (int round = 0; round < growthRounds; ++round) {
        measureSizes(road, growth);
    }
    std::vector<Row> rows;
    for (std::size_t index = 0; index < growthBlocks.size(); ++index) {
        rows.push_back(comparison("capture of " + std::to_string(growthBlocks.at(index)) +
                                      " bytes unpaced, / minimal host",
                                  growth.ours.at(index), growth.minimal.at(index), "us"));
    }
    // A capture's beginning, which does not grow, is left out.
    constexpr std::size_t last = growthBlocks.size() - 1;
    for (const auto& [name, times] :
         {std::pair{"", &growth.ours}, std::pair{", by a minimal host", &growth.minimal}}) {
        Row row = report("a byte beyond 65536 of a capture unpaced" + std::string(name) +
                             ", / a byte from 1024 on",
                         costOfFurtherBytes(*times, last - 1, last), "ns");
        row.reference = costOfFurtherBytes(*times, 0, last - 1);
        row.ratio = *row.ours / *row.reference;
        row.ratioOf = "the largest block's last bytes / those before";
        if (times == &growth.ours) {
            row.target = "0.9 .. 1.1 (ours)";
        }
        rows.push_back(row);
    }
    return rows;
}

std::vector<Row> measureContexts(Road& road) {
    std::vector<Row> rows;
    for (std::size_t count = 1; count <= mostContexts; count *= 2) {
        std::vector<double> ours;
        std::vector<double> reference;
        for (int round = 0; round < contextRounds; ++round) {
            {
                std::vector<std::unique_ptr<LibraryHost>> hosts;
                for (std::size_t index = 0; index < count; ++index) {
                    hosts.push_back(std::make_unique<LibraryHost>(
                        road.scanners.portName(firstStandard + index)));
                }
                ours.push_back(throughput(hosts, count, [](LibraryHost& host) { host.capture(); }));
            }
            std::vector<std::unique_ptr<MinimalHost>> hosts;
            for (std::size_t index = 0; index < count; ++index) {
                hosts.push_back(
                    std::make_unique<MinimalHost>(road.scanners.portName(firstStandard + index)));
            }
            reference.push_back(throughput(
                hosts, count, [](MinimalHost& host) { host.capture(packetsOf(standardBlock)); }));
        }
        rows.push_back(comparison("captures by " + std::to_string(count) +
                                      (count == 1 ? " context unpaced" : " contexts at once") +
                                      ", / minimal hosts",
                                  ours, reference, "MB/s in all"));
    }
    return rows;
}

} // namespace ridge::bench
