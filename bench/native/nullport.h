#pragma once

#include "defaultfactory.h"
#include "payloads.h"
#include "serialport.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace ridge::bench {

/// A port that takes what is written and does nothing with it, with the factory that makes it: what
/// is measured is what stands above. Received bytes are handed to its listener.
class NullPortFactory final : public DefaultFactory<std::string> {
public:
    std::unique_ptr<SerialPort> createSerialPort(const std::string&,
                                                 SerialPortListener& dataListener,
                                                 SerialPortErrorListener&) override {
        listener = &dataListener;
        return std::make_unique<NullPort>();
    }

    /// As a port that reads so many bytes at a time.
    void receive(const Bytes& line, std::size_t readSize) const {
        for (std::size_t begin = 0; begin < line.size(); begin += readSize) {
            const std::size_t size = std::min(readSize, line.size() - begin);
            listener->onData(line.data() + begin, static_cast<std::uint32_t>(size));
        }
    }

private:
    class NullPort final : public SerialPort {
    public:
        void purge() override {}
        void close() override {}
        void ignoreErrors() override {}
        void write(const std::uint8_t* bytes, std::uint32_t) override {
            benchmark::DoNotOptimize(bytes);
            benchmark::ClobberMemory();
        }
    };

    SerialPortListener* listener = nullptr;
};

/// A port without failures.
class NoErrors final : public SerialPortErrorListener {
public:
    void onSerialPortError(const std::string&) override {}
};

} // namespace ridge::bench
