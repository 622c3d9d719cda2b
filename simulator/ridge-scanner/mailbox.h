#pragma once

#include "simulatedtime.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace ridge::simulator {

/// What has come for the scanner since it last looked.
struct Mail {
    std::vector<std::uint8_t> bytes;
    /// Lines of whoever runs it.
    std::vector<std::string> commands;
    /// The scanner is to end.
    bool ended = false;
};

/// Hands bytes from the line, and commands, to the thread that runs the scanner.
class Mailbox {
public:
    void putBytes(const std::uint8_t* bytes, std::size_t size);
    void putCommand(std::string command);
    void end();

    /// Waits for mail, at most until the given moment of the monotonic clock, and takes it.
    Mail takeUntil(std::optional<Time> deadline);

private:
    std::mutex mutex;
    std::condition_variable arrived;
    Mail waiting;
};

/// The monotonic clock in the simulator's terms.
Time monotonicNow();

} // namespace ridge::simulator
