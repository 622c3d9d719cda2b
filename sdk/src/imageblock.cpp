#include "imageblock.h"

#include "bigendian.h"
#include "ridgeexception.h"
#include "statuscode.h"

namespace ridge {
namespace {

constexpr std::uint32_t maxBlockLength = 140000;
/// One more than the length field itself.
constexpr std::size_t minFirstChunk = 5;
constexpr std::size_t headerSize = 16;
/// The extra value and the trailer's length.
constexpr std::size_t captureTailSize = 3;

constexpr std::uint32_t flagABit = 0x1;
constexpr std::uint32_t flagBBit = 0x2;
constexpr std::uint32_t flagCBit = 0x4;

ImageBlock imageOf(const std::vector<std::uint8_t>& block, std::size_t imageLength) {
    const std::uint32_t flags = readBigEndian32(&block[4]);
    ImageBlock content;
    content.flagA = (flags & flagABit) != 0;
    content.flagB = (flags & flagBBit) != 0;
    content.flagC = content.flagB && (flags & flagCBit) != 0;
    content.width = readBigEndian16(&block[8]);
    content.height = readBigEndian16(&block[10]);
    const auto image = block.begin() + headerSize;
    content.image.assign(image, image + static_cast<std::ptrdiff_t>(imageLength));
    return content;
}

} // namespace

bool BlockAssembler::append(const std::vector<std::uint8_t>& chunk) {
    buffer.insert(buffer.end(), chunk.begin(), chunk.end());
    if (!underWay()) {
        if (buffer.size() < minFirstChunk) {
            throw RIDGE_EXCEPTION(status::malformedData, "Invalid %s data header length %d",
                                  kind.name, static_cast<int>(buffer.size()));
        }
        const std::uint32_t announced = readBigEndian32(buffer.data());
        if (announced < kind.minLength || announced > maxBlockLength) {
            throw RIDGE_EXCEPTION(status::malformedData, "Invalid %s data length %d", kind.name,
                                  static_cast<int>(announced));
        }
        expectedLength = announced;
    }
    if (buffer.size() > expectedLength) {
        throw RIDGE_EXCEPTION(status::malformedData, "Invalid %s data length %d/%d", kind.name,
                              static_cast<int>(expectedLength), static_cast<int>(buffer.size()));
    }
    return buffer.size() == expectedLength;
}

void BlockAssembler::clear() {
    buffer.clear();
    expectedLength = 0;
}

std::optional<ImageBlock> parseCaptureBlock(const std::vector<std::uint8_t>& block) {
    if (block.size() <= headerSize + captureTailSize ||
        readBigEndian32(block.data()) != block.size()) {
        return std::nullopt;
    }
    const std::size_t imageLength = readBigEndian32(&block[12]);
    if (imageLength > block.size() - headerSize - captureTailSize) {
        return std::nullopt;
    }
    const std::size_t tail = headerSize + imageLength;
    const std::size_t trailerLength = readBigEndian16(&block[tail + 1]);
    if (tail + captureTailSize + trailerLength != block.size()) {
        return std::nullopt;
    }
    ImageBlock content = imageOf(block, imageLength);
    content.extraValue = block[tail];
    content.trailer.assign(block.end() - static_cast<std::ptrdiff_t>(trailerLength), block.end());
    return content;
}

std::optional<ImageBlock> parseStreamBlock(const std::vector<std::uint8_t>& block) {
    if (block.size() <= headerSize || readBigEndian32(block.data()) != block.size()) {
        return std::nullopt;
    }
    const std::size_t imageLength = readBigEndian32(&block[12]);
    if (imageLength == 0 || imageLength > block.size() - headerSize) {
        return std::nullopt;
    }
    return imageOf(block, imageLength);
}

} // namespace ridge
