#include "blocktransfer.h"

#include <algorithm>
#include <utility>

namespace ridge::simulator {

BlockTransfer::BlockTransfer(std::uint8_t command, std::vector<std::uint8_t> block,
                             std::size_t chunkSize)
    : code(command), block(std::move(block)), chunkSize(chunkSize) {}

std::span<const std::uint8_t> BlockTransfer::nextChunk() {
    const std::size_t length = std::min(chunkSize, block.size() - position);
    const std::span<const std::uint8_t> chunk(block.data() + position, length);
    position += length;
    handedOut = true;
    return chunk;
}

} // namespace ridge::simulator
