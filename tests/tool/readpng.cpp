#include "readpng.h"

#include <gtest/gtest.h>
#include <stb/stb_image.h>

#include <memory>

namespace ridge::test {

Picture readPng(const std::string& file) {
    const std::vector<std::uint8_t> bytes(file.begin(), file.end());
    Picture picture;
    const std::unique_ptr<stbi_uc, decltype(&stbi_image_free)> pixels(
        stbi_load_from_memory(bytes.data(), static_cast<int>(bytes.size()), &picture.width,
                              &picture.height, &picture.channels, 0),
        &stbi_image_free);
    if (!pixels) {
        ADD_FAILURE() << "not a PNG file: " << stbi_failure_reason();
        return {};
    }
    const auto size = static_cast<std::size_t>(picture.width) *
                      static_cast<std::size_t>(picture.height) *
                      static_cast<std::size_t>(picture.channels);
    picture.pixels.assign(pixels.get(), pixels.get() + size);
    return picture;
}

} // namespace ridge::test
