#pragma once

#include "defaultserialport.h"
#include "mailbox.h"

#include <memory>
#include <span>
#include <string>

namespace ridge::simulator {

/// The scanner's end of the serial line: what comes in goes into the mailbox.
class SerialLine : private SerialPortListener, private SerialPortErrorListener {
public:
    /// Opens the port. Throws RidgeException.
    SerialLine(const std::string& portName, Mailbox& mailbox);
    ~SerialLine() override;

    SerialLine(const SerialLine&) = delete;
    SerialLine& operator=(const SerialLine&) = delete;

    /// Blocks until the port has taken the bytes.
    void write(std::span<const std::uint8_t> bytes);

private:
    void onData(const std::uint8_t* bytes, std::uint32_t size) override;
    void onByte(std::uint8_t byte) override;
    void onSerialPortError(const std::string& text) override;

    Mailbox& mailbox;
    std::unique_ptr<SerialPort> port;
};

} // namespace ridge::simulator
