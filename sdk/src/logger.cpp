#include "logger.h"

#include "logline.h"
#include "mutex.h"

#include <atomic>
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
Mutex logLock;
/// Never freed at the end of the process: threads may log until the very last.
InstalledLogger* installedLogger = nullptr;
/// The installed logger's threshold, 0 without one. Changes under the lock only; what it filters
/// needs no lock.
std::atomic<char> currentThreshold{0};

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

/// The log lock keeps the library's own calls apart.
const std::tm* localTime() {
    const std::time_t now = std::time(nullptr);
    return std::localtime(&now);
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
    currentThreshold = 0;
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
    currentThreshold = installed->threshold;
    installedLogger = installed.release();
}

void logMessage(char level, const char* sourceFile, int line, const char* format, ...) noexcept {
    if (!passes(currentThreshold.load(std::memory_order_relaxed), level)) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    try {
        const std::lock_guard lock(logLock);
        if (installedLogger != nullptr && passes(installedLogger->threshold, level)) {
            installedLogger->logger->log(level, buildLogLine(installedLogger->prefixFields,
                                                             {level, sourceFile, line}, localTime(),
                                                             vformatText(format, arguments)));
        }
    } catch (...) {
        // No memory for the line: it is lost, the operation goes on.
    }
    va_end(arguments);
}

} // namespace ridge
