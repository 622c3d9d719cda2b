#pragma once

#include "scopedhandle.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include <windows.h>

namespace ridge::bench {

enum class Awaited { bytes, timeout, stop };

/// An end of a serial line with nothing but the calls that it takes to use one: overlapped writes,
/// and reads of what has arrived after the event that announces it.
class SerialEnd {
public:
    /// Throws std::system_error.
    explicit SerialEnd(const std::string& name);
    ~SerialEnd();

    SerialEnd(const SerialEnd&) = delete;
    SerialEnd& operator=(const SerialEnd&) = delete;

    /// Returns when the port has taken the bytes.
    void write(std::span<const std::uint8_t> bytes);

    /// Waits until bytes have arrived.
    Awaited await(DWORD timeoutMs = INFINITE);
    /// Lets `await` return, now and ever after.
    void stop() { SetEvent(stopEvent.get()); }

    /// Some of what has arrived, valid until the next read; nothing when all has been read.
    std::span<const std::uint8_t> read();

private:
    void startWait();
    void endWait();

    simulator::ScopedHandle stopEvent;
    simulator::ScopedHandle arrivalEvent;
    simulator::ScopedHandle readEvent;
    simulator::ScopedHandle writeEvent;
    simulator::ScopedHandle port;
    /// The driver writes into these while a wait is pending.
    OVERLAPPED wait{};
    DWORD arrived = 0;
    bool waiting = false;
    std::array<std::uint8_t, 30000> buffer{};
};

} // namespace ridge::bench
