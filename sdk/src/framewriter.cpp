#include "framewriter.h"

#include "frameformat.h"
#include "wipe.h"

namespace ridge {
namespace {

bool needsEscape(std::uint8_t byte) {
    return byte == escapeByte || byte == startFlag || byte == endFlag;
}

} // namespace

FrameWriter::FrameWriter(SerialPort& serialPort, std::size_t scratchSize)
    : port(serialPort), scratch(scratchSize) {}

FrameWriter::~FrameWriter() {
    wipe(scratch);
}

void FrameWriter::writeFrame(const std::uint8_t* payload, std::size_t size) {
    put(startFlag);
    for (std::size_t position = 0; position < size; ++position) {
        const std::uint8_t byte = payload[position];
        if (needsEscape(byte)) {
            put(escapeByte);
            put(static_cast<std::uint8_t>(byte - escapeOffset));
        } else {
            put(byte);
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

void FrameWriter::flush() {
    port.write(scratch.data(), static_cast<std::uint32_t>(filled));
    filled = 0;
}

} // namespace ridge
