#include "serialline.h"

#include <cstdio>

namespace ridge::simulator {

SerialLine::SerialLine(const std::string& portName, Mailbox& box) : mailbox(box) {
    SerialPortListener& listener = *this;
    SerialPortErrorListener& errorListener = *this;
    port = std::make_unique<DefaultSerialPort<std::string>>(portName, listener, errorListener);
}

SerialLine::~SerialLine() {
    port.reset();
}

void SerialLine::write(std::span<const std::uint8_t> bytes) {
    port->write(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

void SerialLine::onData(const std::uint8_t* bytes, std::uint32_t size) {
    mailbox.putBytes(bytes, size);
}

void SerialLine::onByte(std::uint8_t byte) {
    mailbox.putBytes(&byte, 1);
}

void SerialLine::onSerialPortError(const std::string& text) {
    std::fprintf(stderr, "ridge-scanner: %s\n", text.c_str());
    mailbox.end();
}

} // namespace ridge::simulator
