#include "scannermode.h"

#include "benchscanner.h"
#include "fingerprint.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace ridge::bench {
namespace {

std::vector<std::int64_t> counts(const std::vector<Time>& times) {
    std::vector<std::int64_t> result;
    for (const Time time : times) {
        result.push_back(time.count());
    }
    return result;
}

} // namespace

int runScanners(int argumentCount, char** arguments) {
    const simulator::GreyImage fingerprint = simulator::generateFingerprint({});
    std::vector<std::unique_ptr<BenchScanner>> scanners;
    for (int index = 0; index < argumentCount; ++index) {
        scanners.push_back(std::make_unique<BenchScanner>(
            ScannerKind::parse(arguments[index]), fingerprint, static_cast<std::uint32_t>(index)));
    }
    std::vector<std::thread> threads;
    for (const auto& scanner : scanners) {
        threads.emplace_back([&scanner] { scanner->run(); });
    }
    std::cout << "ready";
    for (const auto& scanner : scanners) {
        std::cout << ' ' << scanner->portNumber();
    }
    std::cout << std::endl;
    std::string line;
    while (std::getline(std::cin, line)) {
        const LineTimes times = scanners.at(std::stoul(line))->takeTimes();
        std::cout << nlohmann::json{{"turnarounds", counts(times.turnarounds)},
                                    {"delays", counts(times.delays)}}
                  << std::endl;
    }
    for (const auto& scanner : scanners) {
        scanner->stop();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return 0;
}

} // namespace ridge::bench
