// What a byte and a chunk of a capture cost, by the length of the block and of its chunks. What
// each capture costs, however short, is taken off: that of a shorter one is.

#include "capturinghost.h"
#include "onecore.h"
#include "preparedscanner.h"
#include "suites.h"

#include <string>
#include <utility>
#include <vector>

namespace ridge::bench {
namespace {

constexpr std::size_t longestBlock = 140000;

Function captures(std::size_t blockSize, std::size_t chunkSize) {
    return [=](benchmark::State& state) {
        const OneCore pinned;
        const PreparedScanner scanner("scanner", blockSize, chunkSize);
        CapturingHost host(scanner);
        for ([[maybe_unused]] auto iteration : state) {
            host.capture();
        }
    };
}

/// What the longer of two captures costs more.
Side difference(std::size_t blockSize, std::size_t lesserBlockSize, std::size_t chunkSize,
                const Figure& figure) {
    return {captures(blockSize, chunkSize), figure, 1, Clock::process,
            captures(lesserBlockSize, chunkSize)};
}

Side bytesBeyond(std::size_t lesserBlockSize, std::size_t blockSize, std::size_t chunkSize) {
    return difference(blockSize, lesserBlockSize, chunkSize,
                      nanosecondsPer("byte", blockSize - lesserBlockSize));
}

void addBytes(Comparisons& comparisons, std::size_t chunkSize, std::size_t lesserBlockSize,
              const std::vector<std::size_t>& blockSizes) {
    Comparison comparison{bytesBeyond(lesserBlockSize, longestBlock, chunkSize), {}};
    for (const std::size_t blockSize : blockSizes) {
        comparison.references.push_back(
            {"a byte beyond " + std::to_string(lesserBlockSize) + " of a capture of 140000, " +
                 "chunks of " + std::to_string(chunkSize) + ", / of " + std::to_string(blockSize),
             bytesBeyond(lesserBlockSize, blockSize, chunkSize), "0.9 .. 1.1 (ours)", ""});
    }
    // Each chunk takes two switches of threads: with chunks of a byte, seconds.
    comparison.rounds = chunkSize == 1 ? 5 : 21;
    comparisons.add(std::move(comparison));
}

void addChunks(Comparisons& comparisons, std::size_t chunkSize) {
    constexpr std::size_t lesserBlockSize = 10000;
    constexpr std::size_t count = 10000;
    comparisons.add(
        {difference(longestBlock, lesserBlockSize, chunkSize,
                    nanosecondsPer("chunk", (longestBlock - lesserBlockSize) / chunkSize)),
         {{"a chunk of " + std::to_string(chunkSize) + " bytes of a capture, / of 1 byte",
           difference(lesserBlockSize + count, lesserBlockSize, 1, nanosecondsPer("chunk", count)),
           "", ""}}});
}

} // namespace

void addCaptureGrowth(Comparisons& comparisons) {
    addBytes(comparisons, 1, 1024, {10000, 70000});
    addBytes(comparisons, 100, 1024, {10000, 70000});
    // All of them whole chunks.
    addBytes(comparisons, 10000, 10000, {70000});
    for (const std::size_t chunkSize : {100U, 1000U, 10000U}) {
        addChunks(comparisons, chunkSize);
    }
}

} // namespace ridge::bench
