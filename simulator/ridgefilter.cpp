#include "ridgefilter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace ridge::simulator {

namespace {

// Kernel weights add up to this much over one polarity of the wave, so that a fully grown wave
// answers with about twice its amplitude and stays saturated.
constexpr double kernelScale = 4096.0;
constexpr int responseDivisor = 2048;

} // namespace

RidgeFilter::RidgeFilter(std::size_t width, std::size_t height, double shortestPeriod,
                         double longestPeriod)
    : width(width), height(height), shortestPeriod(shortestPeriod), longestPeriod(longestPeriod),
      kernels(directions * periods * diameter * diameter), kernelOfPixel(width * height) {
    const double periodStep = (longestPeriod - shortestPeriod) / (periods - 1);
    for (std::size_t d = 0; d < directions; ++d) {
        for (std::size_t p = 0; p < periods; ++p) {
            fillKernel(d * periods + p, static_cast<double>(d) * std::numbers::pi / directions,
                       shortestPeriod + static_cast<double>(p) * periodStep);
        }
    }
}

void RidgeFilter::fillKernel(std::size_t index, double direction, double period) {
    const double sigma = period * 0.36;
    const double acrossX = std::sin(direction);
    const double acrossY = std::cos(direction);
    std::array<double, diameter * diameter> envelope{};
    std::array<double, diameter * diameter> weights{};
    double envelopeSum = 0.0;
    double sum = 0.0;
    for (int y = -radius; y <= radius; ++y) {
        for (int x = -radius; x <= radius; ++x) {
            const auto i = static_cast<std::size_t>(y + radius) * diameter +
                           static_cast<std::size_t>(x + radius);
            const double across = x * acrossX + y * acrossY;
            envelope[i] = std::exp(-(x * x + y * y) / (2.0 * sigma * sigma));
            weights[i] = envelope[i] * std::cos(2.0 * std::numbers::pi * across / period);
            envelopeSum += envelope[i];
            sum += weights[i];
        }
    }
    // Without this, light and dark areas would grow instead of ridges.
    double magnitude = 0.0;
    for (std::size_t i = 0; i < weights.size(); ++i) {
        weights[i] -= envelope[i] * sum / envelopeSum;
        magnitude += std::abs(weights[i]);
    }
    std::int16_t* kernel = &kernels[index * diameter * diameter];
    for (std::size_t i = 0; i < weights.size(); ++i) {
        kernel[i] =
            static_cast<std::int16_t>(std::floor(weights[i] * kernelScale / magnitude + 0.4375));
    }
}

void RidgeFilter::tune(std::size_t x, std::size_t y, double direction, double period) {
    // A fraction that no symmetrical direction hits keeps the rounding away from ties.
    const double turns = direction / std::numbers::pi;
    const double folded = turns - std::floor(turns);
    const std::size_t d = static_cast<std::size_t>(folded * directions + 0.4375) % directions;
    const double place = (std::clamp(period, shortestPeriod, longestPeriod) - shortestPeriod) /
                         (longestPeriod - shortestPeriod) * (periods - 1);
    const std::size_t p = std::min(static_cast<std::size_t>(place + 0.4375), periods - 1);
    kernelOfPixel[y * width + x] = static_cast<std::uint16_t>(d * periods + p);
}

void RidgeFilter::apply(std::vector<std::int16_t>& image) const {
    const std::size_t paddedWidth = width + diameter - 1;
    std::vector<std::int16_t> padded(paddedWidth * (height + diameter - 1));
    for (std::size_t y = 0; y < height; ++y) {
        std::copy_n(&image[y * width], width, &padded[(y + radius) * paddedWidth + radius]);
    }
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            const std::int16_t* kernel =
                &kernels[kernelOfPixel[y * width + x] * diameter * diameter];
            std::int32_t sum = 0;
            for (std::size_t row = 0; row < diameter; ++row) {
                const std::int16_t* source = &padded[(y + row) * paddedWidth + x];
                for (std::size_t column = 0; column < diameter; ++column) {
                    sum += kernel[column] * source[column];
                }
                kernel += diameter;
            }
            image[y * width + x] =
                static_cast<std::int16_t>(std::clamp(sum / responseDivisor, -amplitude, amplitude));
        }
    }
}

} // namespace ridge::simulator
