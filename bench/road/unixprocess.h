#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

namespace ridge::bench {

/// What the Unix system beneath Wine counts of a thread.
struct ThreadUse {
    /// How often it was put on a processor after it had waited, or had been interrupted.
    std::uint64_t switches = 0;
    std::chrono::nanoseconds processorTime{0};
};

/// The present process as the Unix system beneath Wine sees it, whose counts are finer than Wine's.
class UnixProcess {
public:
    /// Finds the process by its command line. Throws std::runtime_error.
    UnixProcess();

    /// Of all threads, ended ones too, to the 10 ms.
    [[nodiscard]] std::chrono::milliseconds processorTime() const;

    /// By thread number.
    [[nodiscard]] std::map<std::string, ThreadUse> threads() const;

private:
    std::string folder;
};

} // namespace ridge::bench
