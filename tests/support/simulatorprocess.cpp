#include "simulatorprocess.h"

#include "patience.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <iostream>
#include <stdexcept>
#include <utility>

namespace ridge::test {
namespace {

constexpr std::uint32_t firstPort = 20;
constexpr std::size_t reportsKept = 50;

/// Numbers are not used twice, so that no test meets another one's port.
std::uint32_t nextPortNumber() {
    static std::atomic<std::uint32_t> next{firstPort};
    return next++;
}

std::string portText(std::uint32_t number) {
    return "COM" + std::to_string(number);
}

std::vector<std::string> withPort(std::uint32_t number, std::vector<std::string> options) {
    options.insert(options.end(), {"--commands", "--virtual", portText(number)});
    return options;
}

} // namespace

SimulatorProcess::SimulatorProcess(const std::vector<std::string>& options)
    : SimulatorProcess(options, nextPortNumber()) {}

SimulatorProcess::SimulatorProcess(const std::vector<std::string>& options,
                                   std::uint32_t portNumber)
    : number(portNumber), process("ridge-scanner.exe", withPort(number, options),
                                  [this](std::string line) { onReport(std::move(line)); }) {
    waitForReport("ready");
    control = std::make_unique<simulator::PortControl>(number);
}

SimulatorProcess::~SimulatorProcess() {
    if (!testing::Test::HasFailure()) {
        return;
    }
    process.endInput();
    const unsigned long status = process.wait();
    std::cerr << "The scanner on COM" << number << " ended with " << status
              << "; its last reports:\n";
    for (const std::string& report : lately) {
        std::cerr << "  " << report << "\n";
    }
}

std::string SimulatorProcess::portName() const {
    return R"(\\.\)" + comPort();
}

std::string SimulatorProcess::comPort() const {
    return portText(number);
}

void SimulatorProcess::command(const std::string& line) {
    process.writeLine(line);
}

void SimulatorProcess::unplug() {
    command("unplug");
    waitForReport("unplugged");
}

void SimulatorProcess::plug() {
    command("plug");
    waitForReport("plugged in");
}

std::string SimulatorProcess::waitForReport(const std::string& beginning) {
    std::string passedOver;
    std::unique_lock lock(mutex);
    while (true) {
        if (!reported.wait_for(lock, patience, [this] { return !reports.empty(); })) {
            throw std::runtime_error("the simulated scanner did not report \"" + beginning +
                                     "\" but:\n" + passedOver);
        }
        const std::string report = std::move(reports.front());
        reports.pop_front();
        if (report.starts_with(beginning)) {
            return report;
        }
        passedOver += report + "\n";
    }
}

void SimulatorProcess::hearReports(std::function<void(const std::string&)> listener) {
    const std::lock_guard lock(mutex);
    reportListener = std::move(listener);
}

void SimulatorProcess::onReport(std::string report) {
    {
        const std::lock_guard lock(mutex);
        if (reportListener) {
            reportListener(report);
        }
        lately.push_back(report);
        if (lately.size() > reportsKept) {
            lately.pop_front();
        }
        reports.push_back(std::move(report));
    }
    reported.notify_all();
}

} // namespace ridge::test
