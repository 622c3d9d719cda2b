// Connecting, and commands one after the other, on a line without delay.

#include "libraryhost.h"
#include "minimalhost.h"
#include "rows.h"
#include "statistics.h"

#include <cstddef>
#include <optional>

namespace ridge::bench {
namespace {

constexpr int connections = 20;
constexpr std::size_t commandCount = 1000;
constexpr std::ptrdiff_t part = 100;

template <typename Action>
double timeOf(Action action) {
    const Time start = performanceTime();
    action();
    return microseconds(performanceTime() - start);
}

} // namespace

std::vector<Row> measureCommands(Road& road) {
    const std::string first = road.scanners.portName(firstStandard);
    const std::string second = road.scanners.portName(firstStandard + 1);
    std::vector<double> connects;
    std::vector<double> minimalConnects;
    LibraryHost library;
    for (int number = 0; number < connections; ++number) {
        connects.push_back(timeOf([&] { library.connect(first); }));
        library.disconnect();
        // Closing the port is not part of it, as it is not of the library's.
        std::optional<MinimalHost> minimal;
        minimalConnects.push_back(timeOf([&] { minimal.emplace(second).greet(); }));
    }
    library.connect(first);
    MinimalHost minimal(second);
    std::vector<double> commands;
    std::vector<double> minimalCommands;
    for (std::size_t number = 0; number < commandCount; ++number) {
        commands.push_back(timeOf([&] { library.setSettings(); }));
        minimalCommands.push_back(timeOf([&] { minimal.command(minimal.requests.setSettings); }));
    }
    Row flat = report("last 100 of 1000 commands unpaced, / first 100",
                      median({commands.end() - part, commands.end()}), "us each");
    flat.reference = median({commands.begin(), commands.begin() + part});
    flat.ratio = *flat.ours / *flat.reference;
    flat.ratioOf = "last hundred / first hundred";
    flat.target = "0.9 .. 1.1 (ours)";
    return {
        comparison("connecting unpaced, / minimal host", connects, minimalConnects, "us"),
        comparison("1000 commands unpaced, / minimal host", commands, minimalCommands, "us each"),
        flat};
}

} // namespace ridge::bench
