#include "blocklayout.h"

#include "bigendian.h"

#include <algorithm>

namespace ridge::simulator {

namespace {

constexpr std::size_t headerSize = 16;
constexpr std::uint8_t lightestCovered = 225;

std::vector<std::uint8_t> imagePart(const GreyImage& image, const CaptureMarks& marks,
                                    std::size_t blockSize) {
    std::vector<std::uint8_t> block;
    block.reserve(blockSize);
    appendBigEndian32(block, static_cast<std::uint32_t>(blockSize));
    appendBigEndian32(block,
                      (marks.flagA ? 1U : 0U) | (marks.flagB ? 2U : 0U) | (marks.flagC ? 4U : 0U));
    appendBigEndian16(block, static_cast<std::uint16_t>(image.width));
    appendBigEndian16(block, static_cast<std::uint16_t>(image.height));
    appendBigEndian32(block, static_cast<std::uint32_t>(image.pixels.size()));
    block.insert(block.end(), image.pixels.begin(), image.pixels.end());
    return block;
}

} // namespace

std::vector<std::uint8_t> captureBlock(const GreyImage& image, const CaptureMarks& marks,
                                       std::uint8_t quality) {
    std::vector<std::uint8_t> block =
        imagePart(image, marks, captureBlockOverhead + image.pixels.size() + marks.trailer.size());
    block.push_back(quality);
    appendBigEndian16(block, static_cast<std::uint16_t>(marks.trailer.size()));
    block.insert(block.end(), marks.trailer.begin(), marks.trailer.end());
    return block;
}

std::vector<std::uint8_t> streamBlock(const GreyImage& image, const CaptureMarks& marks) {
    return imagePart(image, marks, headerSize + image.pixels.size());
}

std::uint8_t coverage(const GreyImage& image) {
    if (image.pixels.empty()) {
        return 0;
    }
    // Ridges and valleys share the finger's area about equally.
    const auto dark = static_cast<std::size_t>(std::ranges::count_if(
        image.pixels, [](std::uint8_t grey) { return grey < lightestCovered; }));
    return static_cast<std::uint8_t>(std::min<std::size_t>(100, dark * 200 / image.pixels.size()));
}

} // namespace ridge::simulator
