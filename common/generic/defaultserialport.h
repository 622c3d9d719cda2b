#pragma once

#include "serialport.h"

#include <cstdint>
#include <memory>
#include <thread>

namespace ridge {

/// A COM port, opened with 115200 baud, 8 data bits, no parity, 1 stop bit, for as long as the
/// object lives. A receive thread reads what arrives into a pool of buffers; a dispatch thread
/// hands the buffers to the listener in order of arrival.
///
/// The operating system's side is hidden in `Private` and lives in a folder of its own.
template <typename PortName>
class DefaultSerialPort final : public SerialPort {
public:
    /// Opens the port under the name as it stands and starts both threads: data may arrive before
    /// the constructor has returned. Throws status 5 or 6, or what the standard library
    /// throws when a thread cannot be started.
    DefaultSerialPort(const PortName& portName, SerialPortListener& listener,
                      SerialPortErrorListener& errorListener);
    ~DefaultSerialPort() override;

    DefaultSerialPort(const DefaultSerialPort&) = delete;
    DefaultSerialPort& operator=(const DefaultSerialPort&) = delete;

    void purge() override;
    void close() override;
    void ignoreErrors() override;
    void write(const std::uint8_t* bytes, std::uint32_t size) override;

private:
    struct Private;

    PortName portName;
    SerialPortListener& listener;
    SerialPortErrorListener& errorListener;
    std::unique_ptr<Private> impl;
    std::unique_ptr<std::thread> receiveThread;
};

} // namespace ridge
