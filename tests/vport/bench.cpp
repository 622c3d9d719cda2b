// Measures a virtual port: the round trip of one byte and the unpaced throughput.

#include "driverservice.h"
#include "openresult.h"
#include "pendingstatus.h"
#include "portend.h"
#include "virtualport.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <future>
#include <iostream>
#include <vector>

int main() {
    using namespace ridge::simulator;
    using namespace ridge::simulator::tests;
    using Clock = std::chrono::steady_clock;
    constexpr std::size_t rounds = 2000;
    constexpr std::size_t chunk = 10000;
    constexpr std::size_t chunks = 2000;

    mendPendingStatus();
    mendOpenResult();
    startDriver(driverFileBesideProgram());
    const auto port = createFreePort();
    const PortEnd host(port->hostName());
    const PortEnd line(port->lineName());

    auto echo = std::async(std::launch::async, [&] {
        for (std::size_t round = 0; round < rounds; ++round) {
            line.write(line.readExactly(1));
        }
    });
    std::vector<double> microseconds;
    for (std::size_t round = 0; round < rounds; ++round) {
        const auto start = Clock::now();
        host.write({1});
        host.readExactly(1);
        microseconds.push_back(
            std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    echo.get();
    std::sort(microseconds.begin(), microseconds.end());
    std::cout << "round trip of one byte: median " << microseconds[rounds / 2] << " us, 99 % "
              << microseconds[rounds * 99 / 100] << " us\n";

    auto sender = std::async(std::launch::async, [&] {
        const Bytes bytes = randomBytes(chunk, 1);
        for (std::size_t number = 0; number < chunks; ++number) {
            line.write(bytes);
        }
    });
    const auto start = Clock::now();
    const std::size_t received = host.readExactly(chunk * chunks).size();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    sender.get();
    std::cout << "unpaced throughput: " << static_cast<double>(received) / seconds / 1e6
              << " MB/s in writes of " << chunk << " bytes\n";
    return 0;
}
