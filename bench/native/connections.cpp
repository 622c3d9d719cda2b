// Several connections at once: does one wait for another?

#include "capturinghost.h"
#include "defaultpackethandler.h"
#include "nullport.h"
#include "packet.h"
#include "payloads.h"
#include "preparedscanner.h"
#include "suites.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <thread>

namespace ridge::bench {
namespace {

constexpr std::size_t bytesPerIteration = payloadSize * payloadCount;
/// A driver's usual packet of a USB serial line, without its status bytes.
constexpr std::size_t readSize = 62;

using Lines = std::shared_ptr<const std::vector<Bytes>>;

Lines packetsOnTheLine() {
    std::vector<Bytes> frames;
    for (const Bytes& payload : imagePayloads().all) {
        frames.push_back(
            frameOf(Packet(packetTypeResponse, 0x11, payload.data(), payload.size()).serialize()));
    }
    return std::make_shared<const std::vector<Bytes>>(std::move(frames));
}

/// All that happens to a packet between a port and a command: framing, checks, queue. Each thread
/// has its own connection.
std::function<void(benchmark::State&)> receivePackets(Lines lines) {
    return [lines = std::move(lines)](benchmark::State& state) {
        NoErrors errors;
        NullPortFactory factory;
        DefaultPacketHandler handler(factory, "port", errors);
        for ([[maybe_unused]] auto iteration : state) {
            for (const Bytes& line : *lines) {
                factory.receive(line, readSize);
                const std::unique_ptr<Packet> packet = handler.receive(false);
                if (!packet || packet->data.size() != payloadSize) {
                    state.SkipWithError("a packet is missing");
                    return;
                }
            }
        }
    };
}

std::function<void(benchmark::State&)> copyPackets(Lines lines) {
    return [lines = std::move(lines)](benchmark::State& state) {
        Bytes copy(2 * payloadSize);
        for ([[maybe_unused]] auto iteration : state) {
            for (const Bytes& line : *lines) {
                std::memcpy(copy.data(), line.data(), line.size());
                benchmark::DoNotOptimize(copy.data());
                benchmark::ClobberMemory();
            }
        }
    };
}

constexpr std::size_t blockSize = 100000;

/// Whole captures through the exported functions; each thread has its own context and scanner.
void captureImages(benchmark::State& state) {
    const PreparedScanner scanner("scanner" + std::to_string(state.thread_index()), blockSize,
                                  payloadSize);
    CapturingHost host(scanner);
    for ([[maybe_unused]] auto iteration : state) {
        host.capture();
    }
}

} // namespace

void addConnections(Comparisons& comparisons) {
    const auto cores = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    const Lines lines = packetsOnTheLine();
    const Figure packets = gigabytesPerSecond(bytesPerIteration);
    const std::string fromPort = "packets, port to command, ";
    comparisons.add({{receivePackets(lines), packets},
                     {{fromPort + "/ memcpy", {copyPackets(lines), packets}, "", ""}}});
    for (const int threads : {2, 4, 8}) {
        const std::string connections = std::to_string(threads) + " connections, / 1";
        const auto ideal = static_cast<std::size_t>(std::min(threads, cores));
        comparisons.add({{receivePackets(lines), packets, threads, Clock::wall},
                         {{fromPort + connections + " x " + std::to_string(ideal) + " cores",
                           {receivePackets(lines), gigabytesPerSecond(bytesPerIteration * ideal), 1,
                            Clock::wall},
                           ">= 0.9 (ours)",
                           ""}}});
        // Were anything shared, a packet would take more processor time too, whoever else works.
        const Figure packet = nanosecondsPer("packet", payloadCount);
        comparisons.add({{receivePackets(lines), packet, threads},
                         {{fromPort + connections + ", processor time",
                           {receivePackets(lines), packet},
                           "<= 1.1 (ours)",
                           ""}}});
        // Most of a capture is waiting: there is room for more connections than cores.
        const Figure blocks = gigabytesPerSecond(blockSize);
        // How they meet the scheduler differs from round to round.
        constexpr std::size_t manyRounds = 31;
        comparisons.add({{captureImages, blocks, threads, Clock::wall},
                         {{"captures, line in memory, " + connections,
                           {captureImages, blocks, 1, Clock::wall},
                           "",
                           ""}},
                         manyRounds});
    }
}

} // namespace ridge::bench
