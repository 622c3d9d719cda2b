#pragma once

#include "host.h"
#include "simulatorprocess.h"

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace ridge::test {

/// A host that goes through a scenario whatever happens, and notes what should not happen.
class Session {
public:
    explicit Session(const SimulatorProcess& attachedScanner)
        : scanner(attachedScanner), host(std::make_unique<Host>()) {}

    [[nodiscard]] ridgeDeviceContext* context() const { return host->context(); }
    [[nodiscard]] Host& client() { return *host; }
    [[nodiscard]] const SimulatorProcess& attached() const { return scanner; }

    /// A status of a call, with the context's text if it is a failure. True for success.
    bool note(const std::string& call, std::int32_t status);
    /// Waits for the end of an operation that was started, and notes how it ended: with so many
    /// images, or with one failure.
    void awaitEnd(const std::string& operation, std::size_t images);
    void noteFailure(const std::string& operation, const ReceivedFailure& failure);
    void wrong(const std::string& what) { mistakes.push_back(what); }

    bool connect() { return note("ridgeConnectCOM", host->connect(scanner.portName())); }
    void freeContext() { host.reset(); }

    /// What was noted that no host should meet.
    [[nodiscard]] const std::vector<std::string>& mistakesSoFar() const { return mistakes; }
    /// The failures that were reported.
    [[nodiscard]] const std::vector<ReceivedFailure>& failuresSoFar() const { return failures; }

private:
    const SimulatorProcess& scanner;
    std::unique_ptr<Host> host;
    std::vector<std::string> mistakes;
    std::vector<ReceivedFailure> failures;
};

/// What a host does with a scanner, from its first step with faults to its last.
struct Scenario {
    std::string name;
    /// The host is connected before anything is made to fail.
    bool connected;
    void (*run)(Session& session);
};

void PrintTo(const Scenario& scenario, std::ostream* stream);

/// Together they call every exported function that can fail.
const std::vector<Scenario>& scenarios();

} // namespace ridge::test
