#pragma once

#include "messages.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace ridge::tool {

/// Shows the library's log lines of a level ('D', 'I', 'W' or 'E') and above, from now on and as
/// long as the process lives: so must the messages.
void showLibraryLog(std::int32_t level, Messages& messages);

/// Keeps the library's log lines of all levels as long as the object lives, without the bytes of
/// packets: they may belong to an image. Lines from `shownLevel` on are shown meanwhile and
/// afterwards, see above.
class LibraryLogRecorder {
public:
    LibraryLogRecorder(std::optional<std::int32_t> shownLevel, Messages& messages);
    ~LibraryLogRecorder();

    LibraryLogRecorder(const LibraryLogRecorder&) = delete;
    LibraryLogRecorder& operator=(const LibraryLogRecorder&) = delete;

    [[nodiscard]] std::vector<std::string> lines() const;

private:
    void record(std::int32_t level, const char* line);

    const std::optional<std::int32_t> shownLevel;
    Messages& messages;
    mutable std::mutex mutex;
    std::vector<std::string> recorded;
};

/// A log line without the bytes of a packet, where it shows any.
[[nodiscard]] std::string withoutPacketBytes(const std::string& line);

} // namespace ridge::tool
