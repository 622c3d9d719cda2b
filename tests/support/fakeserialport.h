#pragma once

#include "defaultfactory.h"
#include "serialport.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ridge::test {

/// A serial port without threads, with the factory that makes it: the test plays the port's side
/// on its own thread. The layers above come from the default factory.
class FakeSerialPortFactory : public DefaultFactory<std::string> {
public:
    std::unique_ptr<SerialPort>
    createSerialPort(const std::string& name, SerialPortListener& dataListener,
                     SerialPortErrorListener& failureListener) override {
        portName = name;
        listener = &dataListener;
        errorListener = &failureListener;
        if (onCreate) {
            onCreate();
        }
        return std::make_unique<Port>(*this);
    }

    void deliver(const std::vector<std::uint8_t>& bytes) const {
        listener->onData(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    }

    std::string portName;
    SerialPortListener* listener = nullptr;
    SerialPortErrorListener* errorListener = nullptr;
    /// The blocks written to the port, in order.
    std::vector<std::vector<std::uint8_t>> writes;
    /// Called while the port is being opened, written to and closed; what the first two throw is
    /// what opening and writing throw.
    std::function<void()> onCreate;
    std::function<void()> onWrite;
    std::function<void()> onDestroy;

private:
    class Port final : public SerialPort {
    public:
        explicit Port(FakeSerialPortFactory& portOwner) : owner(portOwner) {}
        ~Port() override {
            if (owner.onDestroy) {
                owner.onDestroy();
            }
        }

        Port(const Port&) = delete;
        Port& operator=(const Port&) = delete;

        void purge() override {}
        void close() override {}
        void ignoreErrors() override {}
        void write(const std::uint8_t* bytes, std::uint32_t size) override {
            if (owner.onWrite) {
                owner.onWrite();
            }
            owner.writes.emplace_back(bytes, bytes + size);
        }

    private:
        FakeSerialPortFactory& owner;
    };
};

} // namespace ridge::test
