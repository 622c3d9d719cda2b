#include "framewriter.h"

#include "frameformat.h"
#include "wipe.h"

#include <algorithm>

namespace ridge {

FrameWriter::FrameWriter(SerialPort& serialPort, std::size_t scratchSize)
    : port(serialPort), scratch(scratchSize) {}

FrameWriter::~FrameWriter() {
    wipe(scratch);
}

void FrameWriter::writeFrame(const std::uint8_t* payload, std::size_t size) {
    put(startFlag);
    std::size_t position = 0;
    while (position < size) {
        position += putPlain(payload + position, size - position);
        for (; position < size && isSpecial(payload[position]); ++position) {
            put(escapeByte);
            put(static_cast<std::uint8_t>(payload[position] - escapeOffset));
        }
    }
    put(endFlag);
    flush();
}

void FrameWriter::put(std::uint8_t byte) {
    if (filled == scratch.size()) {
        flush();
    }
    scratch[filled++] = byte;
}

/// Puts bytes up to the first special one, as many as there is room for, and returns how many.
std::size_t FrameWriter::putPlain(const std::uint8_t* bytes, std::size_t size) {
    if (filled == scratch.size()) {
        flush();
    }
    const std::size_t room = scratch.size() - filled;
    const std::size_t copied = copyPlain(bytes, std::min(size, room), scratch.data() + filled);
    filled += copied;
    return copied;
}

void FrameWriter::flush() {
    port.write(scratch.data(), static_cast<std::uint32_t>(filled));
    filled = 0;
}

} // namespace ridge
