#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ridge::simulator {

/// 8-bit grey, row by row from the top, 0 = black.
struct GreyImage {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> pixels;

    bool operator==(const GreyImage&) const = default;
};

/// Turns the image clockwise; any number of turns is taken modulo 4.
GreyImage rotated(const GreyImage& image, unsigned quarterTurns);

/// Averages blocks of factor x factor pixels; an incomplete block at the edge is dropped.
/// A factor of 0 or 1, or one larger than the image, gives the image unchanged.
GreyImage reduced(const GreyImage& image, std::uint32_t factor);

/// Moves the content right and down; what becomes free is white.
GreyImage shifted(const GreyImage& image, int right, int down);

} // namespace ridge::simulator
