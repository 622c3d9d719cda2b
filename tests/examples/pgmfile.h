#pragma once

#include "greyimage.h"
#include "temporaryfolder.h"

#include <filesystem>
#include <string>

namespace ridge::test {

/// Writes a picture that `ridge-scanner --image` takes.
inline void writePgm(const std::filesystem::path& path, const simulator::GreyImage& image) {
    writeFile(path, "P5 " + std::to_string(image.width) + " " + std::to_string(image.height) +
                        " 255\n" + std::string(image.pixels.begin(), image.pixels.end()));
}

} // namespace ridge::test
