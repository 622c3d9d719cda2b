#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace ridge::bench {

/// A line of the table of results.
struct Row {
    std::string measure;
    std::optional<double> ours;
    std::optional<double> reference;
    std::string unit;
    std::optional<double> ratio;
    /// Which of the two is divided by which.
    std::string ratioOf;
    std::optional<double> spread;
    std::string target;
    std::string stretch;
};

/// A row of values that were measured in turn: the medians, the median of the ratios of ours over
/// the reference, and its spread, which one round does not have.
Row comparison(const std::string& measure, const std::vector<double>& ours,
               const std::vector<double>& reference, const std::string& unit);

/// A row that is compared with nothing.
Row report(const std::string& measure, double value, const std::string& unit);

/// Writes a file of results, as JSON, with what it was measured by.
void writeResults(std::ostream& results, const std::vector<Row>& rows);

} // namespace ridge::bench
