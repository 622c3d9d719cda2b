#pragma once

#include "logmessage.h"

#include <cstdint>
#include <memory>
#include <string>

namespace ridge {

/// Takes finished log lines.
class Logger {
public:
    virtual ~Logger() = default;
    virtual void log(std::int32_t level, const std::string& line) = 0;
};

/// The application's function for log lines.
using LogCallback = void (*)(std::int32_t level, const char* line, void* userContext);

/// Forwards lines to the application. What its callback throws is dropped.
class UserLogger final : public Logger {
public:
    UserLogger(LogCallback callback, void* userContext);

    void log(std::int32_t level, const std::string& line) override;

private:
    LogCallback callback;
    void* userContext;
};

bool isLogLevel(std::int32_t level);

/// Removes the installed logger, if there is one.
void removeLogger() noexcept;

/// Installs a logger with its threshold, for the whole process and until the process ends. When
/// another thread has installed one since `removeLogger`, that one stays.
void installLogger(std::unique_ptr<Logger> logger, std::int32_t threshold);

} // namespace ridge
