// What a byte of a capture costs, by the length of the block and of its chunks. Most of it is the
// threads' hand-over of each chunk.

#include "capturinghost.h"
#include "preparedscanner.h"
#include "suites.h"

namespace ridge::bench {
namespace {

constexpr std::size_t longestBlock = 140000;

Side captures(std::size_t blockSize, std::size_t chunkSize) {
    return {[=](benchmark::State& state) {
                const PreparedScanner scanner("scanner", blockSize, chunkSize);
                CapturingHost host(scanner);
                for ([[maybe_unused]] auto iteration : state) {
                    host.capture();
                }
            },
            nanosecondsPer("byte", blockSize), 1, Clock::process};
}

} // namespace

void addCaptureGrowth(Comparisons& comparisons) {
    for (const std::size_t chunkSize : {1U, 100U, 10000U}) {
        Comparison comparison{captures(longestBlock, chunkSize), {}};
        for (const std::size_t blockSize : {1024U, 10000U, 70000U}) {
            comparison.references.push_back({"capture of 140000 bytes, chunks of " +
                                                 std::to_string(chunkSize) + ", / " +
                                                 std::to_string(blockSize) + " bytes",
                                             captures(blockSize, chunkSize), "<= 1.1", ""});
        }
        // Each chunk takes two switches of threads: with chunks of a byte, seconds.
        comparison.rounds = chunkSize == 1 ? 3 : 9;
        comparisons.add(std::move(comparison));
    }
}

} // namespace ridge::bench
