#pragma once

#include "datalinkhandler.h"
#include "factory.h"
#include "packet.h"
#include "serialport.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace ridge {

/// Frames: start flag, payload with the flag values escaped, end flag. A receive state machine
/// rebuilds them from the bytes, in whatever pieces they arrive.
class DefaultDataLinkHandler final : public DataLinkHandler, private SerialPortListener {
public:
    /// Opens the port. Bytes may arrive before the constructor has returned; they are dropped.
    DefaultDataLinkHandler(Factory<std::string>& factory, const std::string& portName,
                           SerialPortErrorListener& errorListener, DataLinkListener& listener);
    /// Closes the port first, so that no byte meets a buffer that has gone.
    ~DefaultDataLinkHandler() override;

    DefaultDataLinkHandler(const DefaultDataLinkHandler&) = delete;
    DefaultDataLinkHandler& operator=(const DefaultDataLinkHandler&) = delete;

    void sendFrame(const std::uint8_t* bytes, std::int32_t size) override;

private:
    void onData(const std::uint8_t* bytes, std::uint32_t size) override;
    void onByte(std::uint8_t byte) override;

    std::uint32_t receivePlain(const std::uint8_t* bytes, std::uint32_t size);
    /// Inline for the sake of the one loop that calls it.
    inline void receiveByte(std::uint8_t byte);
    void resetReceiver();

    DataLinkListener& listener;
    std::unique_ptr<SerialPort> port;
    /// 0 until the port stands: its threads deliver before the constructor has returned.
    std::atomic<std::uint32_t> maxFrameSize{0};
    std::uint8_t* frameBuffer = nullptr;
    std::uint32_t frameLength = 0;
    bool escapePending = false;
    bool inFrame = false;
    std::array<std::uint8_t, maxPacketSize> frameStorage{};
};

} // namespace ridge
