#include "blockimages.h"

#include "blocklayout.h"

namespace ridge::bench {
namespace {

/// Fewer, and a processor's branch prediction could learn them.
constexpr std::size_t leastPackets = 64;
constexpr std::uint32_t width = 100;

/// The fingerprint's pixels from a place on, again and again.
simulator::GreyImage cutOut(const simulator::GreyImage& fingerprint, std::uint32_t height,
                            std::size_t from) {
    simulator::GreyImage image{width, height, {}};
    image.pixels.reserve(std::size_t{width} * height);
    for (std::size_t index = 0; index < std::size_t{width} * height; ++index) {
        image.pixels.push_back(fingerprint.pixels[(from + index) % fingerprint.pixels.size()]);
    }
    return image;
}

} // namespace

void fillBlocks(simulator::ScannerConfig& config, const simulator::GreyImage& fingerprint,
                std::size_t blockSize, std::uint32_t number) {
    const std::size_t content = blockSize - simulator::captureBlockOverhead;
    const auto height = static_cast<std::uint32_t>(content / width);
    config.marks.trailer.assign(content % width, 0);
    const std::size_t packets = (blockSize + config.chunkSize - 1) / config.chunkSize;
    const std::size_t imageCount = (leastPackets + packets - 1) / packets;
    for (std::size_t index = 0; index < imageCount; ++index) {
        // Shares no factor with the fingerprint's size: no two pieces begin at the same place.
        constexpr std::size_t step = 12347;
        // No scanner has more pictures than packets that are to be different.
        config.images.push_back(
            cutOut(fingerprint, height, (number * leastPackets + index) * step));
    }
}

} // namespace ridge::bench
