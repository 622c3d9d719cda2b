#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace ridge::simulator {

/// Hands a block out in chunks, each after the one before has been acknowledged.
class BlockTransfer {
public:
    BlockTransfer(std::uint8_t command, std::vector<std::uint8_t> block, std::size_t chunkSize);

    [[nodiscard]] std::uint8_t command() const { return code; }
    [[nodiscard]] bool finished() const { return handedOut && position == block.size(); }

    /// An empty block still gives one, empty, chunk.
    std::span<const std::uint8_t> nextChunk();

private:
    std::uint8_t code;
    std::vector<std::uint8_t> block;
    std::size_t chunkSize;
    std::size_t position = 0;
    bool handedOut = false;
};

} // namespace ridge::simulator
