#include "selftestreport.h"

#include "messages.h"
#include "printable.h"

#include <algorithm>

namespace ridge::tool {
namespace {

std::string statusName(CheckStatus status) {
    switch (status) {
    case CheckStatus::passed:
        return "passed";
    case CheckStatus::failed:
        return "failed";
    case CheckStatus::skipped:
        break;
    }
    return "skipped";
}

std::string padded(std::string text, std::size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

/// A text from anywhere as it can stand in a cell of a table.
std::string cell(const std::string& text) {
    std::string escaped;
    for (const char character : printable(text)) {
        if (character == '|' || character == '\\') {
            escaped += '\\';
        }
        escaped += character;
    }
    return escaped;
}

} // namespace

std::size_t SelfTestReport::count(CheckStatus status) const {
    return static_cast<std::size_t>(
        std::count_if(checks.begin(), checks.end(),
                      [status](const CheckResult& check) { return check.status == status; }));
}

std::string tally(const SelfTestReport& report) {
    return std::to_string(report.count(CheckStatus::passed)) + " passed, " +
           std::to_string(report.count(CheckStatus::failed)) + " failed, " +
           std::to_string(report.count(CheckStatus::skipped)) + " skipped";
}

std::string checkTable(const SelfTestReport& report) {
    std::size_t width = 0;
    for (const CheckResult& check : report.checks) {
        width = std::max(width, check.name.size());
    }
    std::string table;
    for (const CheckResult& check : report.checks) {
        table += padded(statusName(check.status), 7) + "  " + padded(check.name, width) + "  " +
                 printable(check.text) + "\n";
    }
    return table;
}

std::string toMarkdown(const SelfTestReport& report) {
    std::string text = "# Self-test of a ridge scanner\n\n" + tally(report) + "\n\n";
    text += "| What | Value |\n|---|---|\n";
    for (const auto& [name, value] : report.facts) {
        text += "| " + cell(name) + " | " + cell(value) + " |\n";
    }
    text += "\n## Checks\n\n| Check | Status | Duration | Text |\n|---|---|---|---|\n";
    for (const CheckResult& check : report.checks) {
        text += "| " + cell(check.name) + " | " + statusName(check.status) + " | " +
                seconds(check.duration) + " | " + cell(check.text) + " |\n";
    }
    text += "\n## Log of the library\n\nBytes of packets are left out.\n\n";
    for (const std::string& line : report.log) {
        text += "    " + printable(line) + "\n";
    }
    return text;
}

nlohmann::ordered_json toJson(const SelfTestReport& report) {
    nlohmann::ordered_json json;
    json["facts"] = nlohmann::ordered_json::object();
    for (const auto& [name, value] : report.facts) {
        json["facts"][name] = value;
    }
    json["checks"] = nlohmann::ordered_json::array();
    for (const CheckResult& check : report.checks) {
        json["checks"].push_back({{"name", check.name},
                                  {"status", statusName(check.status)},
                                  {"text", check.text},
                                  {"milliseconds", check.duration.count()}});
    }
    return json;
}

} // namespace ridge::tool
