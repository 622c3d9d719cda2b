#include "defaultdatalinkhandler.h"

#include "frameformat.h"
#include "framewriter.h"
#include "ridgeexception.h"
#include "statuscode.h"

#include <algorithm>

namespace ridge {
namespace {

constexpr std::int32_t maxPayloadSize = maxPacketSize;
constexpr std::size_t scratchSize = 1 + 2 * maxPacketSize + 1;

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
    FrameWriter writer(*port, scratchSize);
    writer.writeFrame(bytes, static_cast<std::size_t>(size));
}

void DefaultDataLinkHandler::onData(const std::uint8_t* bytes, std::uint32_t size) {
    // The constructor has not yet finished: nothing of the state may be touched.
    if (maxFrameSize.load(std::memory_order_acquire) == 0) {
        return;
    }
    for (std::uint32_t position = 0; position < size; ++position) {
        if (inFrame && !escapePending && !isSpecial(bytes[position])) {
            position += receivePlain(bytes + position, size - position);
            if (position == size) {
                return;
            }
        }
        receiveByte(bytes[position]);
    }
}

void DefaultDataLinkHandler::onByte(std::uint8_t byte) {
    onData(&byte, 1);
}

/// Stores bytes up to the first special one, as many as there is room for, and returns how many: as
/// `receiveByte` would, one by one.
std::uint32_t DefaultDataLinkHandler::receivePlain(const std::uint8_t* bytes, std::uint32_t size) {
    const std::uint32_t room = maxFrameSize.load(std::memory_order_relaxed) - frameLength;
    const auto stored = static_cast<std::uint32_t>(
        copyPlain(bytes, std::min(size, room), frameBuffer + frameLength));
    frameLength += stored;
    return stored;
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
            resetReceiver();
            return;
        }
    } else if (byte == endFlag) {
        inFrame = false;
        if (frameLength != 0) {
            listener.onFrame(frameBuffer, frameLength);
            resetReceiver();
        }
        return;
    } else if (byte == escapeByte) {
        escapePending = true;
    }
    if (frameLength >= maxFrameSize.load(std::memory_order_relaxed)) {
        resetReceiver();
    } else if (!escapePending) {
        frameBuffer[frameLength++] = byte;
    }
}

void DefaultDataLinkHandler::resetReceiver() {
    inFrame = false;
    escapePending = false;
    frameLength = 0;
}

} // namespace ridge
