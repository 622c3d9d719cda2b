#include "comparisons.h"

#include <iostream>
#include <stdexcept>
#include <utility>

namespace ridge::bench {
namespace {

/// Long enough for the clock, short enough for many rounds.
constexpr double secondsPerSide = 0.01;

/// Keeps the time that one iteration took; the other reporters would print it.
class TimeReporter final : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                throw std::runtime_error(run.benchmark_name() + ": " + run.error_message);
            }
            // In nanoseconds, as registered.
            processorSeconds = run.GetAdjustedCPUTime() / 1e9;
            wallSeconds = run.GetAdjustedRealTime() / 1e9;
        }
    }

    double processorSeconds = 0;
    double wallSeconds = 0;
};

std::string sideName(std::size_t comparison, std::size_t side) {
    return "comparison" + std::to_string(comparison) + "/side" + std::to_string(side);
}

std::string lesserName(const std::string& name) {
    return name + "-lesser";
}

void registerFunction(const std::string& name, const Function& function, const Side& side) {
    benchmark::internal::Benchmark* const registered =
        benchmark::RegisterBenchmark(name.c_str(), function);
    registered->Unit(benchmark::kNanosecond)->MinTime(secondsPerSide)->Threads(side.threads);
    switch (side.clock) {
    case Clock::thread:
        break;
    case Clock::process:
        registered->MeasureProcessCPUTime();
        break;
    case Clock::wall:
        registered->UseRealTime();
        break;
    }
}

void registerSide(const std::string& name, const Side& side) {
    registerFunction(name, side.function, side);
    if (side.lesser) {
        registerFunction(lesserName(name), side.lesser, side);
    }
}

double secondsOf(const std::string& name, Clock clock) {
    TimeReporter reporter;
    // A name of its own: one benchmark runs.
    benchmark::RunSpecifiedBenchmarks(&reporter, "^" + name + "/");
    return clock == Clock::wall ? reporter.wallSeconds : reporter.processorSeconds;
}

double measure(const std::string& name, const Side& side) {
    const double seconds = secondsOf(name, side.clock);
    return side.figure.of(side.lesser ? seconds - secondsOf(lesserName(name), side.clock)
                                      : seconds);
}

Row rowOf(const Reference& reference, const std::vector<double>& ours,
          const std::vector<double>& others) {
    Row row = comparison(reference.measure, ours, others, reference.side.figure.unit);
    row.target = reference.target;
    row.stretch = reference.stretch;
    return row;
}

} // namespace

Figure gigabytesPerSecond(std::size_t bytesPerIteration) {
    return {"GB/s",
            [=](double seconds) { return static_cast<double>(bytesPerIteration) / seconds / 1e9; }};
}

Figure nanosecondsPer(const std::string& thing, std::size_t thingsPerIteration) {
    return {"ns/" + thing, [=](double seconds) {
                return seconds * 1e9 / static_cast<double>(thingsPerIteration);
            }};
}

void Comparisons::add(Comparison comparison) {
    comparisons.push_back(std::move(comparison));
}

std::vector<Row> Comparisons::run(const std::string& text) {
    std::vector<Row> rows;
    for (std::size_t number = 0; number < comparisons.size(); ++number) {
        const Comparison& compared = comparisons[number];
        std::vector<const Reference*> references;
        std::vector<const Side*> sides{&compared.ours};
        for (const Reference& reference : compared.references) {
            if (reference.measure.find(text) != std::string::npos) {
                references.push_back(&reference);
                sides.push_back(&reference.side);
            }
        }
        if (references.empty()) {
            continue;
        }
        for (std::size_t side = 0; side < sides.size(); ++side) {
            registerSide(sideName(number, side), *sides[side]);
        }
        std::vector<std::vector<double>> figures(sides.size());
        for (std::size_t round = 0; round < compared.rounds; ++round) {
            for (std::size_t side = 0; side < sides.size(); ++side) {
                figures[side].push_back(measure(sideName(number, side), *sides[side]));
            }
        }
        for (std::size_t side = 1; side < sides.size(); ++side) {
            rows.push_back(rowOf(*references[side - 1], figures[0], figures[side]));
            std::cerr << references[side - 1]->measure << '\n';
        }
    }
    return rows;
}

} // namespace ridge::bench
