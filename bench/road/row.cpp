#include "row.h"

#include "statistics.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <optional>

namespace ridge::bench {
namespace {

nlohmann::json numberOrNull(std::optional<double> number) {
    return number ? nlohmann::json(*number) : nlohmann::json(nullptr);
}

nlohmann::json textOrNull(const std::string& text) {
    return text.empty() ? nlohmann::json(nullptr) : nlohmann::json(text);
}

} // namespace

Row comparison(const std::string& measure, const std::vector<double>& ours,
               const std::vector<double>& reference, const std::string& unit) {
    std::vector<double> ratios;
    for (std::size_t round = 0; round < std::min(ours.size(), reference.size()); ++round) {
        ratios.push_back(ours[round] / reference[round]);
    }
    return {.measure = measure,
            .ours = median(ours),
            .reference = median(reference),
            .unit = unit,
            .ratio = median(ratios),
            .ratioOf = "ours / reference",
            .spread = ratios.size() > 1 ? std::optional(spreadOf(ratios)) : std::nullopt,
            .target = {},
            .stretch = {}};
}

Row report(const std::string& measure, double value, const std::string& unit) {
    Row row;
    row.measure = measure;
    row.ours = value;
    row.unit = unit;
    return row;
}

nlohmann::json toJson(const Row& row) {
    return {{"measure", row.measure},
            {"ours", numberOrNull(row.ours)},
            {"reference", numberOrNull(row.reference)},
            {"unit", row.unit},
            {"ratio", numberOrNull(row.ratio)},
            {"ratioOf", textOrNull(row.ratioOf)},
            {"spread", numberOrNull(row.spread)},
            {"target", textOrNull(row.target)},
            {"stretch", textOrNull(row.stretch)}};
}

} // namespace ridge::bench
