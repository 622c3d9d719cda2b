// The virtual port by itself, on which all other rows stand.

#include "rows.h"
#include "serialend.h"
#include "statistics.h"
#include "virtualport.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace ridge::bench {
namespace {

void readBytes(SerialEnd& end, std::size_t count) {
    std::size_t received = 0;
    while (received < count) {
        end.await();
        for (auto bytes = end.read(); !bytes.empty(); bytes = end.read()) {
            received += bytes.size();
        }
    }
}

double roundTripUs(SerialEnd& host, SerialEnd& line) {
    constexpr std::size_t rounds = 1000;
    const std::vector<std::uint8_t> byte(1);
    std::thread echo([&] {
        for (std::size_t round = 0; round < rounds; ++round) {
            readBytes(line, byte.size());
            line.write(byte);
        }
    });
    std::vector<double> times;
    for (std::size_t round = 0; round < rounds; ++round) {
        const Time start = performanceTime();
        host.write(byte);
        readBytes(host, byte.size());
        times.push_back(microseconds(performanceTime() - start));
    }
    echo.join();
    return median(times);
}

double megabytesPerSecond(SerialEnd& host, SerialEnd& line) {
    constexpr std::size_t writes = 400;
    const std::vector<std::uint8_t> bytes(fullChunk);
    const Time start = performanceTime();
    std::thread sender([&] {
        for (std::size_t number = 0; number < writes; ++number) {
            line.write(bytes);
        }
    });
    readBytes(host, writes * bytes.size());
    const double time = microseconds(performanceTime() - start);
    sender.join();
    return static_cast<double>(writes * bytes.size()) / time;
}

} // namespace

std::vector<Row> measurePort(Road&) {
    const std::unique_ptr<simulator::VirtualPort> port = simulator::createFreePort();
    SerialEnd host(port->hostName());
    SerialEnd line(port->lineName());
    return {report("virtual port: a byte there and back", roundTripUs(host, line), "us"),
            report("virtual port: throughput in writes of 10000 bytes",
                   megabytesPerSecond(host, line), "MB/s")};
}

} // namespace ridge::bench
