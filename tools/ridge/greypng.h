#pragma once

#include "capturedimage.h"

#include <cstdint>
#include <vector>

namespace ridge::tool {

/// The image as a PNG file of 8-bit grey. Throws CommandError when the image's bytes are not one
/// per pixel.
[[nodiscard]] std::vector<std::uint8_t> encodeGreyPng(const CapturedImage& image);

} // namespace ridge::tool
