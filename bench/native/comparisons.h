#pragma once

#include "row.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace ridge::bench {

/// What a figure is made of: a rate, or a time of one of several equal things.
struct Figure {
    std::string unit;
    std::function<double(double secondsPerIteration)> of;
};

Figure gigabytesPerSecond(std::size_t bytesPerIteration);
Figure nanosecondsPer(const std::string& thing, std::size_t thingsPerIteration);

/// What a time is taken by.
enum class Clock {
    thread,  ///< the processor time of the thread that runs the function
    process, ///< the processor time of all threads, for what goes on in several
    wall,
};

using Function = std::function<void(benchmark::State&)>;

/// One side of a comparison.
struct Side {
    Function function;
    Figure figure;
    /// So many run the function at a time; the figure is that of all together.
    int threads = 1;
    Clock clock = Clock::thread;
    /// When there is one, its time is taken off: the figure is that of what the function does more.
    Function lesser = {};
};

/// What a figure of the library is held against: one row of the results.
struct Reference {
    std::string measure;
    Side side;
    /// Of the ratio, such as ">= 1.5"; empty when there is none.
    std::string target;
    std::string stretch;
};

/// The library's side, and the others that are measured in turn with it.
struct Comparison {
    Side ours;
    std::vector<Reference> references;
    std::size_t rounds = 11;
};

/// Runs the sides of each comparison in turn, several rounds long, so that whatever disturbs the
/// machine disturbs all of them.
class Comparisons {
public:
    void add(Comparison comparison);

    /// Measures those rows whose measure contains the text: medians over the rounds.
    std::vector<Row> run(const std::string& text);

private:
    std::vector<Comparison> comparisons;
};

} // namespace ridge::bench
