#pragma once

#include "logger.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace ridge::test {

struct LogLine {
    char level;
    /// The line as the application gets it.
    std::string line;
    /// The line without its prefix.
    std::string message;
};

/// Takes the installed logger's place while it lives and keeps what is logged, from any thread.
/// Afterwards no logger is installed.
class LogRecorder {
public:
    explicit LogRecorder(char threshold = logDebug) {
        removeLogger();
        installLogger(std::make_unique<Recorder>(record), threshold);
    }
    ~LogRecorder() { removeLogger(); }

    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    [[nodiscard]] std::vector<LogLine> lines() const {
        const std::lock_guard lock(record->mutex);
        return record->lines;
    }

    /// The messages of one level, in order.
    [[nodiscard]] std::vector<std::string> messages(char level) const {
        std::vector<std::string> found;
        for (LogLine& line : lines()) {
            if (line.level == level) {
                found.push_back(std::move(line.message));
            }
        }
        return found;
    }

private:
    struct Record {
        std::mutex mutex;
        std::vector<LogLine> lines;
    };

    class Recorder final : public Logger {
    public:
        explicit Recorder(std::shared_ptr<Record> sharedRecord) : record(std::move(sharedRecord)) {}

        void log(std::int32_t level, const std::string& line) override {
            const std::string endOfPrefix = "] ";
            const std::lock_guard lock(record->mutex);
            record->lines.push_back({static_cast<char>(level), line,
                                     line.substr(line.find(endOfPrefix) + endOfPrefix.size())});
        }

    private:
        std::shared_ptr<Record> record;
    };

    std::shared_ptr<Record> record = std::make_shared<Record>();
};

} // namespace ridge::test
