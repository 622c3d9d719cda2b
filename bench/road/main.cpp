// Measures the shipped DLL over a virtual port: ridge-road-bench RESULTS.json [ROWS...]
// ROWS are names of groups of rows; without them all are measured.

#include "driverservice.h"
#include "openresult.h"
#include "pendingstatus.h"
#include "rows.h"
#include "scannermode.h"

#include <algorithm>
#include <array>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ridge::bench {
namespace {

struct Group {
    std::string_view name;
    std::vector<Row> (*measure)(Road& road);
};

constexpr std::array<Group, 9> groups{{{"port", measurePort},
                                       {"idle", measureIdleSession},
                                       {"memory", measureMemory},
                                       {"hand-offs", measureHandOffs},
                                       {"commands", measureCommands},
                                       {"processor", measureProcessorTime},
                                       {"growth", measureGrowth},
                                       {"contexts", measureContexts},
                                       {"paced", measurePacedCaptures}}};

std::vector<ScannerKind> scannerKinds() {
    std::vector<ScannerKind> kinds;
    for (const std::size_t block : pacedBlocks) {
        kinds.push_back({lineBaud, block, fullChunk});
    }
    kinds.push_back({lineBaud, pacedBlocks.front(), shortChunk});
    for (const std::size_t block : growthBlocks) {
        kinds.push_back({0, block, fullChunk});
    }
    kinds.insert(kinds.end(), mostContexts, {0, standardBlock, fullChunk});
    return kinds;
}

/// The progress; the table comes from the result file.
void print(const Row& row) {
    std::cerr << row.measure << ": " << row.ours.value_or(0);
    if (row.reference) {
        std::cerr << " / " << *row.reference;
    }
    std::cerr << ' ' << row.unit;
    if (row.ratio) {
        std::cerr << ", ratio " << *row.ratio;
    }
    std::cerr << std::endl;
}

void measure(const std::string& resultFile, const std::vector<std::string>& wanted) {
    Road road;
    std::vector<Row> rows;
    for (const Group& group : groups) {
        if (!wanted.empty() &&
            std::find(wanted.begin(), wanted.end(), group.name) == wanted.end()) {
            continue;
        }
        for (const Row& row : group.measure(road)) {
            print(row);
            rows.push_back(row);
        }
    }
    std::ofstream file(resultFile);
    writeResults(file, rows);
    if (!file) {
        throw std::runtime_error("cannot write " + resultFile);
    }
}

} // namespace

Road::Road() : scanners(scannerKinds()) {}

} // namespace ridge::bench

int main(int argumentCount, char** arguments) {
    try {
        if (argumentCount < 2) {
            throw std::runtime_error("ridge-road-bench RESULTS.json [ROWS...]");
        }
        ridge::simulator::mendPendingStatus();
        ridge::simulator::mendOpenResult();
        const std::string first = arguments[1];
        if (first == "scanners") {
            return ridge::bench::runScanners(argumentCount - 2, arguments + 2);
        }
        ridge::simulator::startDriver(ridge::simulator::driverFileBesideProgram());
        ridge::bench::measure(first, {arguments + 2, arguments + argumentCount});
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << "ridge-road-bench: " << failure.what() << std::endl;
        return 2;
    }
}
