#pragma once

#include "row.h"
#include "scannerprocess.h"
#include "unixprocess.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ridge::bench {

inline constexpr std::uint32_t lineBaud = 115200;
/// Bytes of an image in one data packet.
inline constexpr std::size_t fullChunk = 10000;

inline constexpr std::array<std::size_t, 4> pacedBlocks{20000, 60000, 100000, 140000};
inline constexpr std::size_t shortChunk = 100;
inline constexpr std::array<std::size_t, 5> growthBlocks{1024, 4096, 16384, 65536, 140000};
inline constexpr std::size_t standardBlock = 100000;
inline constexpr std::size_t mostContexts = 8;

// The scanners' numbers.
inline constexpr std::size_t firstPaced = 0;
inline constexpr std::size_t pacedInShortChunks = firstPaced + pacedBlocks.size();
inline constexpr std::size_t firstGrowing = pacedInShortChunks + 1;
inline constexpr std::size_t firstStandard = firstGrowing + growthBlocks.size();

/// What the rows are measured with.
struct Road {
    ScannerProcess scanners;
    UnixProcess process;

    Road();
};

constexpr std::size_t packetsOf(std::size_t block, std::size_t chunk = fullChunk) {
    return (block + chunk - 1) / chunk;
}

std::vector<Row> measurePort(Road& road);
std::vector<Row> measurePacedCaptures(Road& road);
std::vector<Row> measureHandOffs(Road& road);
std::vector<Row> measureIdleSession(Road& road);
std::vector<Row> measureMemory(Road& road);
std::vector<Row> measureProcessorTime(Road& road);
std::vector<Row> measureCommands(Road& road);
std::vector<Row> measureGrowth(Road& road);
std::vector<Row> measureContexts(Road& road);

} // namespace ridge::bench
