#pragma once

#include "linepacer.h"
#include "mailbox.h"
#include "scannermodel.h"
#include "unplugpoint.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>

namespace ridge::simulator {

/// Runs a scanner at the pace of its line: bytes from the mailbox reach the model, and the model's
/// bytes the line, when a real line would have carried them.
class ScannerLoop {
public:
    using Write = std::function<void(std::span<const std::uint8_t>)>;
    using Obey = std::function<void(const std::string& command)>;
    using Unplug = std::function<void()>;

    /// Baud 0 is a line without delay.
    ScannerLoop(ScannerModel& model, Mailbox& mailbox, std::uint32_t baud, Write write);

    /// Is called on the thread that runs the loop. Without it, commands are passed over.
    void setCommandHandler(Obey handler) { obey = std::move(handler); }

    /// `unplug` is called once, when the bytes before the place have crossed the line; no byte
    /// behind it does then. Replaces an earlier place, or takes it away.
    void unplugAt(
        const std::optional<UnplugPoint>& point, Unplug unplug = [] {});

    /// Returns when the mailbox says that the scanner is to end.
    void run();

    /// The line has been cut: what is under way is lost, and the scanner forgets its host.
    void cutLine();

private:
    /// Bytes under way in one direction.
    struct Lane {
        explicit Lane(std::uint32_t baud) : pacer(baud) {}

        void put(std::span<const std::uint8_t> bytes, Time now);
        /// What has crossed the line by now.
        std::vector<std::uint8_t> take(Time now);
        void clear();

        LinePacer pacer;
        std::deque<std::uint8_t> bytes;
    };

    [[nodiscard]] std::optional<Time> nextDeadline() const;
    void receive(Time now);
    void send(Time now);
    /// The bytes before the place to unplug at, which is then reached, or all.
    std::span<const std::uint8_t> untilUnplugged(Direction direction,
                                                 std::span<const std::uint8_t> bytes);
    void unplugIfReached();

    ScannerModel& model;
    Mailbox& mailbox;
    Write write;
    Obey obey = [](const std::string&) {};
    Lane fromHost;
    Lane toHost;
    std::optional<UnplugPointFinder> unplugFinder;
    Unplug unplug;
    bool unplugReached = false;
};

} // namespace ridge::simulator
