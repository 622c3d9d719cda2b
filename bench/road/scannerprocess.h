#pragma once

#include "benchscanner.h"
#include "childprocess.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace ridge::bench {

/// This program's scanners, in a process of their own.
class ScannerProcess {
public:
    explicit ScannerProcess(const std::vector<ScannerKind>& kinds);

    ScannerProcess(const ScannerProcess&) = delete;
    ScannerProcess& operator=(const ScannerProcess&) = delete;

    [[nodiscard]] std::uint32_t portNumber(std::size_t scanner) const { return ports.at(scanner); }
    /// The name that a host opens.
    [[nodiscard]] std::string portName(std::size_t scanner) const;

    /// What a scanner's line and its host did since the last call.
    LineTimes takeTimes(std::size_t scanner);

private:
    std::string nextLine();

    std::mutex mutex;
    std::condition_variable arrived;
    std::deque<std::string> lines;
    std::vector<std::uint32_t> ports;
    /// Goes before the rest: its reader uses it.
    test::ChildProcess process;
};

} // namespace ridge::bench
