#pragma once

#include "memoryline.h"
#include "payloads.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ridge::bench {

/// A scanner on a line in memory that has all its answers ready: it takes as little time as a
/// scanner can. A finger lies on it, and captures bring one block after the other, so many that 64
/// chunks are different.
class PreparedScanner {
public:
    /// The block has this length and comes in chunks of at most `chunkSize`, but
    /// that the first is never shorter than 5 bytes.
    PreparedScanner(const std::string& portName, std::size_t blockSize, std::size_t chunkSize);

    [[nodiscard]] const std::string& portName() const { return name; }

private:
    void onHostWrite(const Bytes& frame);

    std::string name;
    /// The chunks of each block.
    std::vector<std::vector<Bytes>> blocks;
    std::size_t nextBlock = 0;
    /// Those of the block under way.
    const std::vector<Bytes>* chunks = nullptr;
    std::size_t nextChunk = 0;
    Bytes deviceInfo;
    Bytes deviceSettings;
    test::MemoryLine line;
};

} // namespace ridge::bench
