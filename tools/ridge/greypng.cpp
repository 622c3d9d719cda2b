#include "greypng.h"

#include "greyimage.h"

#include <stb/stb_image_write.h>

#include <new>

namespace ridge::tool {

std::vector<std::uint8_t> encodeGreyPng(const CapturedImage& image) {
    checkGrey(image);
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
