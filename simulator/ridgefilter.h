#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ridge::simulator {

/// Grows ridges out of noise: a Gabor filter turned to the local ridge direction and tuned to the
/// local ridge period is applied again and again. The image is filtered in whole numbers, because
/// the repetition would let the last bit of a floating point sum decide where ridges meet, and
/// that bit differs between compilers.
class RidgeFilter {
public:
    static constexpr int amplitude = 1000;

    RidgeFilter(std::size_t width, std::size_t height, double shortestPeriod, double longestPeriod);

    /// Direction in radians counter-clockwise from the horizontal.
    void tune(std::size_t x, std::size_t y, double direction, double period);

    /// Values are clipped to +-amplitude.
    void apply(std::vector<std::int16_t>& image) const;

private:
    static constexpr int radius = 8;
    static constexpr std::size_t diameter = 2 * radius + 1;
    static constexpr std::size_t directions = 64;
    static constexpr std::size_t periods = 6;

    void fillKernel(std::size_t index, double direction, double period);

    std::size_t width;
    std::size_t height;
    double shortestPeriod;
    double longestPeriod;
    std::vector<std::int16_t> kernels;
    std::vector<std::uint16_t> kernelOfPixel;
};

} // namespace ridge::simulator
