#pragma once

#include "packet.h"

#include <cstdint>
#include <memory>

namespace ridge {

/// Exchanges packets with the scanner. The protocol has no sequence numbers: whoever receives
/// gets the oldest packet, whatever it answers.
class PacketHandler {
public:
    virtual ~PacketHandler() = default;
    /// Waits with the default time-out.
    virtual std::unique_ptr<Packet> receive(bool acknowledge) = 0;
    /// Waits at most `timeoutMs` milliseconds (0: the default time-out) and returns the oldest
    /// packet, or null when none came. `acknowledge` answers it with an empty response, and
    /// throws as `send` does; the packet is lost then.
    virtual std::unique_ptr<Packet> receive(std::uint32_t timeoutMs, bool acknowledge) = 0;
    /// Transmits one packet. Throws status 5, 6 or 7.
    virtual void send(const Packet& packet) = 0;
};

} // namespace ridge
