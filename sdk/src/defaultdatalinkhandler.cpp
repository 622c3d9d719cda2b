#include "defaultdatalinkhandler.h"

#include "ridgeexception.h"
#include "statuscode.h"

#include <vector>

namespace ridge {
namespace {

constexpr std::uint8_t escapeByte = 0x7D;
constexpr std::uint8_t startFlag = 0x7E;
constexpr std::uint8_t endFlag = 0x7F;
constexpr std::uint8_t escapeOffset = 0x20;

constexpr std::int32_t maxPayloadSize = maxPacketSize;
constexpr std::size_t scratchSize = 1 + 2 * maxPacketSize + 1;

bool needsEscape(std::uint8_t byte) {
    return byte == escapeByte || byte == startFlag || byte == endFlag;
}

/// Collects wire bytes and writes them to the port whenever the scratch buffer is full, so that
/// its size and the largest frame can be changed independently.
class FrameWriter {
public:
    explicit FrameWriter(SerialPort& serialPort) : port(serialPort), scratch(scratchSize) {}

    void put(std::uint8_t byte) {
        if (filled == scratch.size()) {
            flush();
        }
        scratch[filled++] = byte;
    }

    void flush() {
        port.write(scratch.data(), static_cast<std::uint32_t>(filled));
        filled = 0;
    }

private:
    SerialPort& port;
    std::vector<std::uint8_t> scratch;
    std::size_t filled = 0;
};

} // namespace

DefaultDataLinkHandler::DefaultDataLinkHandler(Factory<std::string>& factory,
                                               const std::string& portName,
                                               SerialPortErrorListener& errorListener,
                                               DataLinkListener& frameListener)
    : listener(frameListener) {
    port = factory.createSerialPort(portName, *this, errorListener);
    frameBuffer = frameStorage.data();
    maxFrameSize.store(static_cast<std::uint32_t>(frameStorage.size()), std::memory_order_release);
}

DefaultDataLinkHandler::~DefaultDataLinkHandler() {
    port.reset();
}

void DefaultDataLinkHandler::sendFrame(const std::uint8_t* bytes, std::int32_t size) {
    if (size < 1 || size > maxPayloadSize) {
        throw RIDGE_EXCEPTION(status::protocol, "Invalid frame size %d", static_cast<int>(size));
    }
    FrameWriter writer(*port);
    writer.put(startFlag);
    for (std::int32_t position = 0; position < size; ++position) {
        const std::uint8_t byte = bytes[position];
        if (needsEscape(byte)) {
            writer.put(escapeByte);
            writer.put(static_cast<std::uint8_t>(byte - escapeOffset));
        } else {
            writer.put(byte);
        }
    }
    writer.put(endFlag);
    writer.flush();
}

void DefaultDataLinkHandler::onData(const std::uint8_t* bytes, std::uint32_t size) {
    // The constructor has not yet finished: nothing of the state may be touched.
    if (maxFrameSize.load(std::memory_order_acquire) == 0) {
        return;
    }
    for (std::uint32_t position = 0; position < size; ++position) {
        receiveByte(bytes[position]);
    }
}

void DefaultDataLinkHandler::onByte(std::uint8_t byte) {
    onData(&byte, 1);
}

void DefaultDataLinkHandler::receiveByte(std::uint8_t byte) {
    if (byte == startFlag) {
        inFrame = true;
        escapePending = false;
        frameLength = 0;
        return;
    }
    if (!inFrame) {
        return;
    }
    if (escapePending) {
        escapePending = false;
        byte = static_cast<std::uint8_t>(byte + escapeOffset);
        if ((byte & 0xF0) != 0x70) {
            abandonFrame();
            return;
        }
    } else if (byte == endFlag) {
        inFrame = false;
        if (frameLength != 0) {
            listener.onFrame(frameBuffer, frameLength);
            abandonFrame();
        }
        return;
    } else if (byte == escapeByte) {
        escapePending = true;
    }
    if (frameLength >= maxFrameSize.load(std::memory_order_relaxed)) {
        abandonFrame();
    } else if (!escapePending) {
        frameBuffer[frameLength++] = byte;
    }
}

void DefaultDataLinkHandler::abandonFrame() {
    inFrame = false;
    escapePending = false;
    frameLength = 0;
}

} // namespace ridge
