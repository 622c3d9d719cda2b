#pragma once

#include "datalinkhandler.h"
#include "factory.h"
#include "mutex.h"
#include "packethandler.h"
#include "serialport.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <string>

namespace ridge {

/// Queues the packets that the data link delivers until a command takes them. A packet that comes
/// too late for its command stays queued and is what the next command receives.
class DefaultPacketHandler final : private DataLinkListener, public PacketHandler {
public:
    DefaultPacketHandler(Factory<std::string>& factory, const std::string& portName,
                         SerialPortErrorListener& errorListener);
    /// Closes the data link, and with it the port, before the queue goes.
    ~DefaultPacketHandler() override;

    DefaultPacketHandler(const DefaultPacketHandler&) = delete;
    DefaultPacketHandler& operator=(const DefaultPacketHandler&) = delete;

    std::unique_ptr<Packet> receive(bool acknowledge) override;
    std::unique_ptr<Packet> receive(std::uint32_t timeoutMs, bool acknowledge) override;
    void send(const Packet& packet) override;

private:
    void onFrame(const std::uint8_t* bytes, std::uint32_t size) override;
    void queueFrame(const std::uint8_t* bytes, std::uint32_t size);

    std::uint32_t defaultTimeoutMs;
    std::unique_ptr<DataLinkHandler> dataLink;
    std::deque<std::unique_ptr<Packet>> receivedPackets;
    /// Guards `receivedPackets`.
    Mutex mutex;
    Condition packetAvailable;
};

} // namespace ridge
