#include "preparedscanner.h"

#include "bigendian.h"
#include "packet.h"

#include <algorithm>
#include <utility>

namespace ridge::bench {
namespace {

constexpr std::uint8_t getCaptureData = 0x11;
constexpr std::uint8_t getDeviceSettings = 0x15;
constexpr std::uint8_t getDeviceInfo = 0x30;
constexpr std::size_t captureOverhead = 19;
/// The library takes no shorter one.
constexpr std::size_t leastFirstChunk = 5;
constexpr std::size_t infoTexts = 7;
constexpr std::size_t infoNumbers = 8;

Bytes answer(std::uint8_t code, const Bytes& payload = {}) {
    return frameOf(Packet(packetTypeResponse, code, payload.data(), payload.size()).serialize());
}

/// An image of one line in a capture block without a trailer; others have another number.
Bytes captureBlock(std::size_t size, std::size_t number) {
    const std::size_t imageSize = size - captureOverhead;
    const std::vector<Bytes>& images = imagePayloads().all;
    Bytes block;
    appendBigEndian32(block, static_cast<std::uint32_t>(size));
    appendBigEndian32(block, 0);
    appendBigEndian16(block, 1);
    appendBigEndian16(block, 1);
    appendBigEndian32(block, static_cast<std::uint32_t>(imageSize));
    const std::size_t first = number * imageSize;
    for (std::size_t position = first; position < first + imageSize; ++position) {
        block.push_back(images[position / payloadSize % payloadCount][position % payloadSize]);
    }
    block.resize(size);
    return block;
}

std::vector<Bytes> chunksOf(const Bytes& block, std::size_t chunkSize) {
    std::vector<Bytes> chunks;
    std::size_t size = std::max(chunkSize, leastFirstChunk);
    for (std::size_t begin = 0; begin < block.size(); begin += std::exchange(size, chunkSize)) {
        const auto first = block.begin() + static_cast<std::ptrdiff_t>(begin);
        const std::size_t length = std::min(size, block.size() - begin);
        chunks.push_back(
            answer(getCaptureData, Bytes(first, first + static_cast<std::ptrdiff_t>(length))));
    }
    return chunks;
}

} // namespace

PreparedScanner::PreparedScanner(const std::string& portName, std::size_t blockSize,
                                 std::size_t chunkSize)
    : name(portName), deviceInfo(answer(getDeviceInfo, Bytes(infoTexts * 2 + infoNumbers))),
      deviceSettings(answer(getDeviceSettings, Bytes(5))), line(portName) {
    for (std::size_t made = 0; made < payloadCount; made += blocks.back().size()) {
        blocks.push_back(chunksOf(captureBlock(blockSize, blocks.size()), chunkSize));
    }
    line.onHostWrite([this](const Bytes& frame) { onHostWrite(frame); });
}

void PreparedScanner::onHostWrite(const Bytes& frame) {
    // Start flag, type, two bytes of length, code: none of those that are answered is escaped.
    const std::uint8_t type = frame.at(1);
    const std::uint8_t code = frame.at(4);
    if (type == packetTypeResponse) {
        if (chunks != nullptr && nextChunk < chunks->size()) {
            line.deliver((*chunks)[nextChunk++]);
        }
        return;
    }
    if (code == getDeviceInfo) {
        line.deliver(deviceInfo);
        return;
    }
    if (code == getDeviceSettings) {
        line.deliver(deviceSettings);
        return;
    }
    line.deliver(answer(code));
    if (code == getCaptureData) {
        chunks = &blocks[nextBlock];
        nextBlock = (nextBlock + 1) % blocks.size();
        line.deliver(chunks->front());
        nextChunk = 1;
    }
}

} // namespace ridge::bench
