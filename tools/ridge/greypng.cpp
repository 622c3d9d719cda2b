#include "greypng.h"

#include "commanderror.h"

#include <stb/stb_image_write.h>

#include <new>
#include <string>

namespace ridge::tool {
namespace {

void checkOneBytePerPixel(const CapturedImage& image) {
    if (image.bytes.empty()) {
        throw CommandError(ExitStatus::otherFailure, "the scanner sent a result without an image");
    }
    const std::uint64_t pixels = std::uint64_t{image.width} * image.height;
    if (image.bytes.size() != pixels) {
        throw CommandError(ExitStatus::otherFailure,
                           "the image is not 8-bit grey: " + std::to_string(image.width) + " x " +
                               std::to_string(image.height) + " pixels, but " +
                               std::to_string(image.bytes.size()) + " bytes instead of " +
                               std::to_string(pixels));
    }
}

} // namespace

std::vector<std::uint8_t> encodeGreyPng(const CapturedImage& image) {
    checkOneBytePerPixel(image);
    std::vector<std::uint8_t> png;
    const auto append = [](void* context, void* data, int size) {
        const auto* bytes = static_cast<const std::uint8_t*>(data);
        static_cast<std::vector<std::uint8_t>*>(context)->insert(
            static_cast<std::vector<std::uint8_t>*>(context)->end(), bytes, bytes + size);
    };
    const int width = static_cast<int>(image.width);
    if (stbi_write_png_to_func(append, &png, width, static_cast<int>(image.height), 1,
                               image.bytes.data(), width) == 0) {
        throw std::bad_alloc();
    }
    return png;
}

} // namespace ridge::tool
