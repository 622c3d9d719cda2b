#include "logline.h"

#include "currentthread.h"
#include "printfformat.h"

#include <algorithm>
#include <array>

namespace ridge {
namespace {

std::string timeText(const std::tm* localTime) {
    std::array<char, 30> text{};
    if (localTime == nullptr ||
        std::strftime(text.data(), text.size(), "%Y%m%d-%H%M%S", localTime) == 0) {
        return "00000000-000000";
    }
    return text.data();
}

void appendField(std::string& prefix, const std::string& field) {
    if (!prefix.empty()) {
        prefix += ' ';
    }
    prefix += field;
}

std::string buildPrefix(std::uint32_t fields, const LogOrigin& origin, const std::tm* localTime) {
    std::string prefix;
    if ((fields & LOG_PREFIX_LEVEL) != 0) {
        prefix += origin.level;
    }
    if ((fields & LOG_PREFIX_THREAD) != 0) {
        appendField(prefix, formatText("%d", static_cast<int>(currentThreadId())));
    }
    if ((fields & LOG_PREFIX_LOCATION) != 0) {
        appendField(prefix, formatText("%s:%d", origin.sourceFile, origin.line));
    }
    if ((fields & LOG_PREFIX_TIME) != 0) {
        appendField(prefix, timeText(localTime));
    }
    return prefix;
}

} // namespace

std::string buildLogLine(std::uint32_t fields, const LogOrigin& origin, const std::tm* localTime,
                         std::string message) {
    std::replace(message.begin(), message.end(), '\n', ' ');
    std::replace(message.begin(), message.end(), '\r', ' ');
    const std::string prefix = buildPrefix(fields, origin, localTime);
    return prefix.empty() ? message : formatText("[%s] ", prefix.c_str()) + message;
}

} // namespace ridge
