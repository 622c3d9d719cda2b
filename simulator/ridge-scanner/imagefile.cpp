#include "imagefile.h"

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#include <stb/stb_image.h>

#include <cstddef>
#include <memory>
#include <stdexcept>

namespace ridge::simulator {

GreyImage readImageFile(const std::string& path) {
    int width = 0;
    int height = 0;
    int channels = 0;
    const std::unique_ptr<stbi_uc, decltype(&stbi_image_free)> pixels(
        stbi_load(path.c_str(), &width, &height, &channels, STBI_grey), &stbi_image_free);
    if (!pixels) {
        throw std::runtime_error("reading " + path + ": " + stbi_failure_reason());
    }
    const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    return {static_cast<std::uint32_t>(width),
            static_cast<std::uint32_t>(height),
            {pixels.get(), pixels.get() + size}};
}

} // namespace ridge::simulator
