#pragma once

#include "mendedprocess.h"
#include "portcontrol.h"
#include "scopedhandle.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ridge::test {

/// A simulated scanner in a process of its own, on a virtual COM port with a number of its own.
class SimulatorProcess {
public:
    /// Starts `ridge-scanner` with these further options and waits until it is ready.
    explicit SimulatorProcess(const std::vector<std::string>& options = {});
    /// Ends it and waits for its end.
    ~SimulatorProcess();

    SimulatorProcess(const SimulatorProcess&) = delete;
    SimulatorProcess& operator=(const SimulatorProcess&) = delete;

    /// The name that a host opens.
    [[nodiscard]] std::string portName() const;

    /// What goes wrong on the port itself.
    [[nodiscard]] simulator::PortControl& port() { return *control; }

    /// Waits for a line of the scanner's report that begins so, and returns it. Lines that were
    /// passed over are gone.
    std::string waitForReport(const std::string& beginning);

private:
    void readReports();

    std::uint32_t number;
    simulator::ScopedHandle input;
    simulator::ScopedHandle output;
    std::unique_ptr<simulator::MendedProcess> process;
    std::unique_ptr<simulator::PortControl> control;

    /// Reads all the time, so that the scanner never waits for a test to listen.
    std::thread reader;
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::string> reports;
    bool ended = false;
};

} // namespace ridge::test
