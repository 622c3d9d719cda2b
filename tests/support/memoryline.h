#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ridge::test {

using Bytes = std::vector<std::uint8_t>;

/// The far end of a serial line that exists in memory only. While it lives, a serial port opened
/// under its name is connected to it: the library's own factory and everything above the port run
/// unchanged.
class MemoryLine {
public:
    explicit MemoryLine(std::string portName);
    /// As unplugging without a word: a port that is still open gets nothing any more.
    ~MemoryLine();

    MemoryLine(const MemoryLine&) = delete;
    MemoryLine& operator=(const MemoryLine&) = delete;

    /// Called with each block that the host writes, on the host's writing thread. What it throws
    /// is what the host's write throws.
    void onHostWrite(std::function<void(const Bytes&)> handler);

    /// Sends bytes to the host. They reach the port's listener on the port's own thread, in order,
    /// one piece per call.
    void deliver(Bytes bytes);

    /// Waits until the host has taken everything that was delivered.
    void waitUntilTaken();

    /// Reports a failure of the receiving side, on the port's own thread and after what was
    /// delivered before. The host has heard of it when the call returns.
    void failReceiving(const std::string& text);
    /// The same without waiting, for the use inside a host's write.
    void postFailure(const std::string& text);

    /// Whether the caller is on the thread of an open port, which brings what is delivered.
    [[nodiscard]] static bool isPortThread();

    /// Whether no line has anything under way to a host.
    [[nodiscard]] static bool allQuiet();

    /// How many ports are open on this line.
    [[nodiscard]] int openPorts() const;

    struct State;

private:
    std::string name;
    std::shared_ptr<State> state;
};

} // namespace ridge::test
