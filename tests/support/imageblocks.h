#pragma once

#include "bigendian.h"

#include <cstdint>
#include <vector>

namespace ridge::test {

/// What goes into an image block as the scanner sends it.
struct BlockContent {
    std::uint32_t flags = 0;
    std::uint16_t width = 0;
    std::uint16_t height = 0;
    std::vector<std::uint8_t> image;
    std::uint8_t extraValue = 0;
    std::vector<std::uint8_t> trailer;
};

/// A complete stream block; `after` are bytes behind the image.
inline std::vector<std::uint8_t> streamBlock(const BlockContent& content,
                                             const std::vector<std::uint8_t>& after = {}) {
    std::vector<std::uint8_t> block;
    appendBigEndian32(block, static_cast<std::uint32_t>(16 + content.image.size() + after.size()));
    appendBigEndian32(block, content.flags);
    appendBigEndian16(block, content.width);
    appendBigEndian16(block, content.height);
    appendBigEndian32(block, static_cast<std::uint32_t>(content.image.size()));
    block.insert(block.end(), content.image.begin(), content.image.end());
    block.insert(block.end(), after.begin(), after.end());
    return block;
}

/// A complete capture block.
inline std::vector<std::uint8_t> captureBlock(const BlockContent& content) {
    std::vector<std::uint8_t> after{content.extraValue};
    appendBigEndian16(after, static_cast<std::uint16_t>(content.trailer.size()));
    after.insert(after.end(), content.trailer.begin(), content.trailer.end());
    return streamBlock(content, after);
}

} // namespace ridge::test
