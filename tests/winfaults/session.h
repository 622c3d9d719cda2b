#pragma once

#include "host.h"
#include "simulatorprocess.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace ridge::test {

/// A failure of a function, or of what goes on in the background.
struct OperationFailure {
    std::string operation;
    ReceivedFailure failure;
};

void PrintTo(const OperationFailure& failure, std::ostream* stream);

/// A host that goes through a scenario whatever happens, and notes what it learns.
class Session {
public:
    explicit Session(SimulatorProcess& attachedScanner)
        : scanner(attachedScanner), host(std::make_unique<Host>()) {}

    [[nodiscard]] ridgeDeviceContext* context() const { return host->context(); }
    [[nodiscard]] Host& client() { return *host; }
    [[nodiscard]] SimulatorProcess& attached() const { return scanner; }

    std::int32_t connect() { return host->connect(scanner.portName()); }

    /// A status of a call, with the context's text if it is a failure. True for success.
    bool note(const std::string& call, std::int32_t status);
    void noteFailure(const std::string& operation, const ReceivedFailure& failure);
    /// What the host was given.
    void noteReceived(const std::string& what) { received.push_back(what); }
    void wrong(const std::string& what) { mistakes.push_back(what); }

    /// Waits until an operation that was started has brought so many images, or has failed.
    void awaitImages(const std::string& operation, std::size_t images);
    /// To be called when nothing more can come of the operation: notes what has come of it, of the
    /// images only these.
    void noteOutcome(const std::string& operation, std::size_t images);

    /// What was noted that no host should meet.
    [[nodiscard]] const std::vector<std::string>& mistakesSoFar() const { return mistakes; }
    /// The failures that were reported, in their order.
    [[nodiscard]] const std::vector<OperationFailure>& failuresSoFar() const { return failures; }
    [[nodiscard]] const std::vector<std::string>& receivedSoFar() const { return received; }

private:
    SimulatorProcess& scanner;
    std::unique_ptr<Host> host;
    std::vector<std::string> mistakes;
    std::vector<OperationFailure> failures;
    std::vector<std::string> received;
};

/// What a host does with a scanner, from its first step with faults to its last.
struct Scenario {
    std::string name;
    /// The host is connected before anything is made to fail.
    bool connected;
    /// How many things it is given when nothing fails.
    std::size_t receives;
    void (*run)(Session& session);
};

void PrintTo(const Scenario& scenario, std::ostream* stream);

/// Together they call every exported function that can fail, but for those that make a context and
/// set the logger.
const std::vector<Scenario>& scenarios();

} // namespace ridge::test
