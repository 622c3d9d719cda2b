#pragma once

#include "childprocess.h"
#include "portcontrol.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ridge::test {

/// A simulated scanner in a process of its own, on a virtual COM port with a number of its own.
class SimulatorProcess {
public:
    /// Starts `ridge-scanner` with these further options and waits until it is ready.
    explicit SimulatorProcess(const std::vector<std::string>& options = {});
    /// The same at the port of another one that has ended.
    SimulatorProcess(const std::vector<std::string>& options, std::uint32_t portNumber);

    /// Ends the scanner. What it reported lately is printed when the test has failed.
    ~SimulatorProcess();

    SimulatorProcess(const SimulatorProcess&) = delete;
    SimulatorProcess& operator=(const SimulatorProcess&) = delete;

    /// The name that a host opens.
    [[nodiscard]] std::string portName() const;

    [[nodiscard]] std::uint32_t portNumber() const { return number; }

    /// The port's name as the system lists it.
    [[nodiscard]] std::string comPort() const;

    /// Gives the scanner a line on its standard input.
    void command(const std::string& line);
    /// Pulls the cable, or plugs it in, and waits until that is done.
    void unplug();
    void plug();

    /// Ends the scanner as a crash would.
    void kill() { process.kill(); }

    /// What goes wrong on the port itself.
    [[nodiscard]] simulator::PortControl& port() { return *control; }

    /// Waits for a line of the scanner's report that begins so, and returns it. Lines that were
    /// passed over are gone.
    std::string waitForReport(const std::string& beginning);

    /// Hands each report to the listener too as it comes, on a thread of its own; to none if the
    /// listener is empty. When this returns, no earlier listener is called any more.
    void hearReports(std::function<void(const std::string&)> listener);

private:
    void onReport(std::string report);

    std::uint32_t number;
    std::mutex mutex;
    std::condition_variable reported;
    std::deque<std::string> reports;
    std::function<void(const std::string&)> reportListener;
    /// The last reports, taken or not.
    std::deque<std::string> lately;
    std::unique_ptr<simulator::PortControl> control;
    /// Goes before the rest: its reader calls `onReport`.
    ChildProcess process;
};

} // namespace ridge::test
