#pragma once

#include <cstdint>

namespace ridge {

/// Receives complete frames on the serial port's dispatch thread.
class DataLinkListener {
public:
    virtual ~DataLinkListener() = default;
    /// One unescaped frame payload; the bytes are overwritten by the next frame.
    virtual void onFrame(const std::uint8_t* bytes, std::uint32_t size) = 0;
};

/// Puts packets into frames on the serial line and takes them out again.
class DataLinkHandler {
public:
    virtual ~DataLinkHandler() = default;
    /// Frames one payload of 1 to 10005 bytes and transmits it. Throws status 6 for another size
    /// and passes on the port's failures (5, 7).
    virtual void sendFrame(const std::uint8_t* bytes, std::int32_t size) = 0;
};

} // namespace ridge
