#include "scannerprocess.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace ridge::bench {
namespace {

std::vector<std::string> argumentsFor(const std::vector<ScannerKind>& kinds) {
    std::vector<std::string> arguments{"scanners"};
    for (const ScannerKind& kind : kinds) {
        arguments.push_back(kind.text());
    }
    return arguments;
}

std::vector<Time> times(const nlohmann::json& counts) {
    std::vector<Time> result;
    for (const auto& count : counts) {
        result.emplace_back(count.get<Time::rep>());
    }
    return result;
}

} // namespace

ScannerProcess::ScannerProcess(const std::vector<ScannerKind>& kinds)
    : process("ridge-road-bench.exe", argumentsFor(kinds), [this](std::string line) {
          {
              const std::lock_guard lock(mutex);
              lines.push_back(std::move(line));
          }
          arrived.notify_one();
      }) {
    std::istringstream ready(nextLine());
    std::string word;
    ready >> word;
    for (std::uint32_t port = 0; ready >> port;) {
        ports.push_back(port);
    }
    if (word != "ready" || ports.size() != kinds.size()) {
        throw std::runtime_error("the scanners do not start: " + ready.str());
    }
}

std::string ScannerProcess::portName(std::size_t scanner) const {
    return R"(\\.\COM)" + std::to_string(portNumber(scanner));
}

LineTimes ScannerProcess::takeTimes(std::size_t scanner) {
    process.writeLine(std::to_string(scanner));
    const nlohmann::json object = nlohmann::json::parse(nextLine());
    return {times(object.at("turnarounds")), times(object.at("delays"))};
}

std::string ScannerProcess::nextLine() {
    constexpr std::chrono::minutes patience{1};
    std::unique_lock lock(mutex);
    if (!arrived.wait_for(lock, patience, [this] { return !lines.empty(); })) {
        throw std::runtime_error("the scanners do not report");
    }
    std::string line = std::move(lines.front());
    lines.pop_front();
    return line;
}

} // namespace ridge::bench
