#pragma once

#include "clock.h"

#include <chrono>
#include <cstddef>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>

namespace ridge::tool {

/// What the program says beside its results, from any thread: whole lines and, where it speaks to
/// a terminal, a status line beneath them that changes in place.
class Messages {
public:
    /// `columns` is the width of the terminal that the output goes to; nothing for anything else.
    Messages(std::ostream& output, const Clock& clock,
             std::optional<std::size_t> columns = std::nullopt);

    /// What the program does, with the time since its start.
    void progress(const std::string& text);
    /// A failure.
    void error(const std::string& text);
    /// A line as it stands.
    void line(const std::string& text);

    /// Replaces the status line. Nothing is written unless the output is a terminal.
    void status(const std::string& text);
    void eraseStatus();

private:
    void overwriteStatus(const std::string& text);

    std::mutex mutex;
    std::ostream& stream;
    const Clock& clock;
    const std::optional<std::size_t> columns;
    const Clock::Time start;
    std::string shownStatus;
};

/// "1.2 s"
[[nodiscard]] std::string seconds(std::chrono::milliseconds time);

} // namespace ridge::tool
