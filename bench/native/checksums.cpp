// The checksum of the longest packets, whose bytes are in the processor's nearest cache or not.

#include "packet.h"
#include "payloads.h"
#include "suites.h"
#include "textbookchecksum.h"
#include "vectorread.h"

#include <memory>

namespace ridge::bench {
namespace {

/// What the checksum of the longest packet covers: length, code and payload.
constexpr std::size_t summedBytes = 10003;

template <typename Function>
Side overPackets(std::size_t count, Function function) {
    auto packets = std::make_shared<std::vector<Bytes>>(randomPayloads().all);
    packets->resize(count);
    for (Bytes& packet : *packets) {
        packet.resize(summedBytes);
    }
    return {[packets, function](benchmark::State& state) {
                for ([[maybe_unused]] auto iteration : state) {
                    for (const Bytes& packet : *packets) {
                        benchmark::DoNotOptimize(function(packet.data(), packet.size()));
                    }
                }
            },
            gigabytesPerSecond(summedBytes * count)};
}

void addPackets(Comparisons& comparisons, std::size_t count, const std::string& cache,
                const std::string& readTarget, const std::string& readStretch) {
    comparisons.add({overPackets(count, checksum),
                     {{"checksum, " + cache + ", / plain loop",
                       overPackets(count, textbookChecksum), ">= 15", ""},
                      {"checksum, " + cache + ", / reading the bytes",
                       overPackets(count, readInVectors), readTarget, readStretch}}});
}

} // namespace

void addChecksums(Comparisons& comparisons) {
    addPackets(comparisons, 3, "L1", ">= 0.45", ">= 0.7");
    addPackets(comparisons, payloadCount, "L2", ">= 0.80", ">= 0.95");
}

} // namespace ridge::bench
