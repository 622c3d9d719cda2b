#include "statistics.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ridge::bench {

double quantile(std::vector<double> values, double part) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const double position = part * static_cast<double>(values.size() - 1);
    const double below = std::floor(position);
    const auto index = static_cast<std::size_t>(below);
    const double upper = values[std::min(index + 1, values.size() - 1)];
    return std::lerp(values[index], upper, position - below);
}

double median(std::vector<double> values) {
    return quantile(std::move(values), 0.5);
}

double spreadOf(const std::vector<double>& values) {
    return (quantile(values, 0.75) - quantile(values, 0.25)) / 2;
}

} // namespace ridge::bench
