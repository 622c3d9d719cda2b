#pragma once

#include "memoryline.h"
#include "payloads.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ridge::bench {

/// A scanner on a line in memory that has all its answers ready: it takes as little time as a
/// scanner can. A finger lies on it, and each capture brings the same block.
class PreparedScanner {
public:
    /// The block has this length and comes in chunks of at most `chunkSize`, but
    /// that the first is never shorter than 5 bytes.
    PreparedScanner(const std::string& portName, std::size_t blockSize, std::size_t chunkSize);

    [[nodiscard]] const std::string& portName() const { return name; }

private:
    void onHostWrite(const Bytes& frame);

    std::string name;
    std::vector<Bytes> chunks;
    std::size_t nextChunk = 0;
    Bytes deviceInfo;
    Bytes deviceSettings;
    test::MemoryLine line;
};

} // namespace ridge::bench
