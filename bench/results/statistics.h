#pragma once

#include <cstddef>
#include <vector>

namespace ridge::bench {

/// The value below which the given part of the values lies; 0 of no values.
double quantile(std::vector<double> values, double part);
double median(std::vector<double> values);
/// Half the inter-quartile range.
double spreadOf(const std::vector<double>& values);

} // namespace ridge::bench
