#pragma once

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace ridge::tool {

enum class CheckStatus { passed, failed, skipped };

struct CheckResult {
    std::string name;
    CheckStatus status = CheckStatus::skipped;
    /// What was found, what went wrong, or why it was skipped.
    std::string text;
    std::chrono::milliseconds duration{0};
};

struct SelfTestReport {
    /// Name and value of what was tested, and of what with.
    std::vector<std::pair<std::string, std::string>> facts;
    std::vector<CheckResult> checks;
    std::vector<std::string> log;

    [[nodiscard]] std::size_t count(CheckStatus status) const;
};

/// "2 passed, 1 failed, 0 skipped"
[[nodiscard]] std::string tally(const SelfTestReport& report);

/// A line for each check.
[[nodiscard]] std::string checkTable(const SelfTestReport& report);

/// The whole report, for people.
[[nodiscard]] std::string toMarkdown(const SelfTestReport& report);

/// Facts and checks, without the log.
[[nodiscard]] nlohmann::ordered_json toJson(const SelfTestReport& report);

} // namespace ridge::tool
