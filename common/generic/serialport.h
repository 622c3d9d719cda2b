#pragma once

#include <cstdint>
#include <string>

namespace ridge {

/// Receives the bytes that a serial port has read, on the port's dispatch thread, one call at a
/// time.
class SerialPortListener {
public:
    virtual ~SerialPortListener() = default;
    /// A run of received bytes, valid only during the call.
    virtual void onData(const std::uint8_t* bytes, std::uint32_t size) = 0;
    virtual void onByte(std::uint8_t byte) = 0;
};

/// Learns that the receiving side of a serial port has failed for good.
class SerialPortErrorListener {
public:
    virtual ~SerialPortErrorListener() = default;
    /// Called at most once per port, on the port's receive thread.
    virtual void onSerialPortError(const std::string& text) = 0;
};

/// The byte transport to the scanner.
class SerialPort {
public:
    virtual ~SerialPort() = default;
    /// Discards what the driver holds in both directions; the result is ignored.
    virtual void purge() = 0;
    /// Stops the threads and closes the port. May be called again.
    virtual void close() = 0;
    /// From now on a failure while waiting for received bytes is logged, not reported.
    virtual void ignoreErrors() = 0;
    /// Writes one block and waits at most 3000 ms for it to leave; a null pointer or a size of 0
    /// writes nothing. Throws status 5 or 7.
    virtual void write(const std::uint8_t* bytes, std::uint32_t size) = 0;
};

} // namespace ridge
