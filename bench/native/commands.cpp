// A thousand commands in a row: does the last cost what the first does?

#include "capturinghost.h"
#include "onecore.h"
#include "preparedscanner.h"
#include "suites.h"

#include <chrono>
#include <stdexcept>

namespace ridge::bench {
namespace {

constexpr std::size_t commandsPerIteration = 100;

void runCommands(const CapturingHost& host, std::size_t count) {
    const ridgeDeviceSettings settings{0, 0};
    for (std::size_t number = 0; number < count; ++number) {
        if (ridgeSettingsSet(host.context(), &settings) != RIDGE_SUCCESS) {
            throw std::runtime_error(ridgeGetLastErrorDescription(host.context()));
        }
    }
}

/// A hundred commands of a connection that has had so many.
std::function<void(benchmark::State&)> commandsAfter(std::size_t earlier) {
    return [earlier](benchmark::State& state) {
        const OneCore pinned;
        for ([[maybe_unused]] auto iteration : state) {
            state.PauseTiming();
            {
                const PreparedScanner scanner("scanner", payloadSize, payloadSize);
                const CapturingHost host(scanner);
                runCommands(host, earlier);
                state.ResumeTiming();
                runCommands(host, commandsPerIteration);
                state.PauseTiming();
            }
            state.ResumeTiming();
        }
    };
}

} // namespace

void addCommands(Comparisons& comparisons) {
    const Figure command = nanosecondsPer("command", commandsPerIteration);
    comparisons.add({{commandsAfter(900), command, 1, Clock::process},
                     {{"last 100 of 1,000 commands, / first 100",
                       {commandsAfter(0), command, 1, Clock::process},
                       "0.9 .. 1.1 (ours)",
                       ""}}});
}

} // namespace ridge::bench
