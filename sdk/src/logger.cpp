#include "logger.h"

#include "currentthread.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <utility>

namespace ridge {
namespace {

struct InstalledLogger {
    std::unique_ptr<Logger> logger;
    char threshold;
    std::uint32_t prefixFields;
};

/// Guards `installedLogger`, and is held while a line is made and delivered.
std::mutex logLock;
/// Never freed at the end of the process: threads may log until the very last.
InstalledLogger* installedLogger = nullptr;

bool passes(char threshold, char level) {
    switch (threshold) {
    case logDebug:
        return true;
    case logInformation:
        return level == logInformation || level == logWarning || level == logError;
    case logWarning:
        return level == logWarning || level == logError;
    default:
        return level == threshold;
    }
}

std::string localTimeText() {
    std::array<char, 30> text{};
    const std::time_t now = std::time(nullptr);
    // The log lock keeps our own calls apart.
    const std::tm* local = std::localtime(&now);
    if (local == nullptr || std::strftime(text.data(), text.size(), "%Y%m%d-%H%M%S", local) == 0) {
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

std::string buildPrefix(std::uint32_t fields, char level, const char* sourceFile, int line) {
    std::string prefix;
    if ((fields & LOG_PREFIX_LEVEL) != 0) {
        prefix += level;
    }
    if ((fields & LOG_PREFIX_THREAD) != 0) {
        appendField(prefix, formatText("%d", static_cast<int>(currentThreadId())));
    }
    if ((fields & LOG_PREFIX_LOCATION) != 0) {
        appendField(prefix, formatText("%s:%d", sourceFile, line));
    }
    if ((fields & LOG_PREFIX_TIME) != 0) {
        appendField(prefix, localTimeText());
    }
    return prefix;
}

std::string buildLine(std::uint32_t fields, char level, const char* sourceFile, int line,
                      std::string message) {
    std::replace(message.begin(), message.end(), '\n', ' ');
    std::replace(message.begin(), message.end(), '\r', ' ');
    const std::string prefix = buildPrefix(fields, level, sourceFile, line);
    return prefix.empty() ? message : formatText("[%s] ", prefix.c_str()) + message;
}

} // namespace

UserLogger::UserLogger(LogCallback logCallback, void* context)
    : callback(logCallback), userContext(context) {}

void UserLogger::log(std::int32_t level, const std::string& line) {
    if (!isLogLevel(level)) {
        level = logInformation;
    }
    try {
        callback(level, line.c_str(), userContext);
    } catch (...) {
        // The application's failure is its own.
    }
}

bool isLogLevel(std::int32_t level) {
    return level == logDebug || level == logInformation || level == logWarning || level == logError;
}

void removeLogger() noexcept {
    const std::lock_guard lock(logLock);
    delete std::exchange(installedLogger, nullptr);
}

void installLogger(std::unique_ptr<Logger> logger, std::int32_t threshold) {
    auto installed = std::make_unique<InstalledLogger>(
        InstalledLogger{std::move(logger), static_cast<char>(threshold), LOG_PREFIX_ALL});
    const std::lock_guard lock(logLock);
    if (installedLogger != nullptr) {
        return;
    }
    if (installed->threshold < logDebug || installed->threshold > logWarning) {
        // Callers check the level; a second line of defence.
        std::printf("Invalid log level '%c'. Using level of INFO.\n", installed->threshold);
        installed->threshold = logInformation;
    }
    installedLogger = installed.release();
}

void logMessage(char level, const char* sourceFile, int line, const char* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    try {
        const std::lock_guard lock(logLock);
        if (installedLogger != nullptr && passes(installedLogger->threshold, level)) {
            installedLogger->logger->log(level,
                                         buildLine(installedLogger->prefixFields, level, sourceFile,
                                                   line, vformatText(format, arguments)));
        }
    } catch (...) {
        // No memory for the line, or no lock: the line is lost, the operation goes on.
    }
    va_end(arguments);
}

} // namespace ridge
