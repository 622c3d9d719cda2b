#include "row.h"

#include "statistics.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <ostream>

namespace ridge::bench {
namespace {

nlohmann::ordered_json numberOrNull(std::optional<double> number) {
    return number ? nlohmann::ordered_json(*number) : nlohmann::ordered_json(nullptr);
}

nlohmann::ordered_json textOrNull(const std::string& text) {
    return text.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(text);
}

nlohmann::ordered_json toJson(const Row& row) {
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

void writeResults(std::ostream& results, const std::vector<Row>& rows) {
    nlohmann::ordered_json lines = nlohmann::ordered_json::array();
    for (const Row& row : rows) {
        lines.push_back(toJson(row));
    }
    results << nlohmann::ordered_json{{"compiler", RIDGE_COMPILER}, {"rows", lines}}.dump(2)
            << '\n';
}

} // namespace ridge::bench
