// A log line that the host does not want to see.

#include "emptyfunction.h"
#include "logmessage.h"
#include "ridge-sdk.h"
#include "suites.h"

#include <benchmark/benchmark.h>

namespace ridge::bench {
namespace {

constexpr std::size_t linesPerIteration = 1000;

void dropLine(std::int32_t, const char*, void*) {}

void logFilteredLines(benchmark::State& state) {
    ridgeSetLogger(logError, dropLine, nullptr);
    for ([[maybe_unused]] auto iteration : state) {
        for (std::size_t number = 0; number < linesPerIteration; ++number) {
            RIDGE_LOG(logInformation, "Line %d", static_cast<int>(number));
        }
    }
}

void callNothing(benchmark::State& state) {
    for ([[maybe_unused]] auto iteration : state) {
        for (std::size_t number = 0; number < linesPerIteration; ++number) {
            doNothing(logInformation, __FILE__, __LINE__, "Line %d", static_cast<int>(number));
        }
    }
}

} // namespace

void addLogLines(Comparisons& comparisons) {
    const Figure line = nanosecondsPer("line", linesPerIteration);
    comparisons.add(
        {{logFilteredLines, line},
         {{"filtered log line, / call of an empty function", {callNothing, line}, "", ""}}});
    // Waiting for each other takes processor time too.
    comparisons.add({{logFilteredLines, line, 2},
                     {{"filtered log line, 2 threads, / 1 thread",
                       {logFilteredLines, line},
                       "<= 1.1 (ours)",
                       ""}}});
}

} // namespace ridge::bench
