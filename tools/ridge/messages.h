#pragma once

#include <chrono>
#include <mutex>
#include <ostream>
#include <string>

namespace ridge::tool {

/// What the program says beside its results: whole lines, from any thread.
class Messages {
public:
    explicit Messages(std::ostream& output);

    /// What the program does, with the time since its start.
    void progress(const std::string& text);
    /// A failure.
    void error(const std::string& text);
    /// A line as it stands.
    void line(const std::string& text);

private:
    std::mutex mutex;
    std::ostream& stream;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

/// "1.2 s"
[[nodiscard]] std::string seconds(std::chrono::milliseconds time);

} // namespace ridge::tool
