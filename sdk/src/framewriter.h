#pragma once

#include "serialport.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ridge {

/// Turns payloads into frames and writes them to the port: with one write as long as the scratch
/// buffer holds the frame, otherwise whenever it is full, so that its size and the largest frame
/// can be changed independently.
class FrameWriter {
public:
    FrameWriter(SerialPort& serialPort, std::size_t scratchSize);
    /// Leaves nothing of the payload in memory, which may be a key.
    ~FrameWriter();

    FrameWriter(const FrameWriter&) = delete;
    FrameWriter& operator=(const FrameWriter&) = delete;

    /// Writes one frame: start flag, the payload with the flag values escaped, end flag.
    void writeFrame(const std::uint8_t* payload, std::size_t size);

private:
    void put(std::uint8_t byte);
    std::size_t putPlain(const std::uint8_t* bytes, std::size_t size);
    std::size_t putEscaped(const std::uint8_t* bytes, std::size_t size);
    void flush();

    SerialPort& port;
    std::vector<std::uint8_t> scratch;
    std::size_t filled = 0;
};

} // namespace ridge
