#pragma once

#include <cstdint>
#include <vector>

namespace ridge::tool {

/// What an image must have to be accepted.
constexpr int goodContrast = 64;

/// How many grey levels the darkest tenth of the pixels lies below the brightest tenth: small for
/// an empty or evenly grey image, large where ridges fill a good part of it. 0 for no pixels.
[[nodiscard]] int contrast(const std::vector<std::uint8_t>& pixels);

} // namespace ridge::tool
