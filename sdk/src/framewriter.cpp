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
        position += putEscaped(payload + position, size - position);
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

/// Puts special bytes up to the first plain one, as many as there is room for, and returns how
/// many. One for which there is half the room is put all the same.
std::size_t FrameWriter::putEscaped(const std::uint8_t* bytes, std::size_t size) {
    std::uint8_t* to = scratch.data() + filled;
    const std::size_t wanted = std::min(size, (scratch.size() - filled) / 2);
    std::size_t escaped = 0;
    for (; escaped < wanted && isSpecial(bytes[escaped]); ++escaped) {
        *to++ = escapeByte;
        *to++ = static_cast<std::uint8_t>(bytes[escaped] - escapeOffset);
    }
    filled += 2 * escaped;
    if (escaped == wanted && escaped < size && isSpecial(bytes[escaped])) {
        put(escapeByte);
        put(static_cast<std::uint8_t>(bytes[escaped] - escapeOffset));
        ++escaped;
    }
    return escaped;
}

void FrameWriter::flush() {
    port.write(scratch.data(), static_cast<std::uint32_t>(filled));
    filled = 0;
}

} // namespace ridge
