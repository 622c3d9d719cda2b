#include "greyimage.h"

namespace ridge::simulator {

namespace {

constexpr std::uint8_t white = 255;

GreyImage turnedOnce(const GreyImage& image) {
    GreyImage result{image.height, image.width, std::vector<std::uint8_t>(image.pixels.size())};
    for (std::size_t y = 0; y < image.height; ++y) {
        for (std::size_t x = 0; x < image.width; ++x) {
            result.pixels[x * result.width + (image.height - 1 - y)] =
                image.pixels[y * image.width + x];
        }
    }
    return result;
}

} // namespace

GreyImage rotated(const GreyImage& image, unsigned quarterTurns) {
    GreyImage result = image;
    for (unsigned turn = 0; turn < quarterTurns % 4; ++turn) {
        result = turnedOnce(result);
    }
    return result;
}

GreyImage reduced(const GreyImage& image, std::uint32_t factor) {
    if (factor <= 1 || factor > image.width || factor > image.height) {
        return image;
    }
    GreyImage result{image.width / factor, image.height / factor, {}};
    result.pixels.reserve(std::size_t{result.width} * result.height);
    for (std::size_t y = 0; y < result.height; ++y) {
        for (std::size_t x = 0; x < result.width; ++x) {
            std::uint64_t sum = 0;
            for (std::size_t row = y * factor; row < (y + 1) * factor; ++row) {
                for (std::size_t column = x * factor; column < (x + 1) * factor; ++column) {
                    sum += image.pixels[row * image.width + column];
                }
            }
            result.pixels.push_back(
                static_cast<std::uint8_t>(sum / (std::uint64_t{factor} * factor)));
        }
    }
    return result;
}

GreyImage shifted(const GreyImage& image, int right, int down) {
    GreyImage result{image.width, image.height,
                     std::vector<std::uint8_t>(image.pixels.size(), white)};
    const auto width = static_cast<std::int64_t>(image.width);
    const auto height = static_cast<std::int64_t>(image.height);
    for (std::int64_t y = 0; y < height; ++y) {
        const std::int64_t sourceY = y - down;
        if (sourceY < 0 || sourceY >= height) {
            continue;
        }
        for (std::int64_t x = 0; x < width; ++x) {
            const std::int64_t sourceX = x - right;
            if (sourceX >= 0 && sourceX < width) {
                result.pixels[static_cast<std::size_t>(y * width + x)] =
                    image.pixels[static_cast<std::size_t>(sourceY * width + sourceX)];
            }
        }
    }
    return result;
}

} // namespace ridge::simulator
