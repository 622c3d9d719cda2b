#pragma once

#include "greyimage.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ridge::simulator {

/// Hosts refuse longer blocks.
inline constexpr std::size_t maxBlockSize = 140000;

/// What a captured image is delivered with.
struct CaptureMarks {
    bool flagA = true;
    bool flagB = false;
    bool flagC = false;
    std::vector<std::uint8_t> trailer;
};

/// Bytes that a capture block needs besides the image and the trailer.
inline constexpr std::size_t captureBlockOverhead = 19;

/// The block of a finished capture. The quality stands behind the image.
std::vector<std::uint8_t> captureBlock(const GreyImage& image, const CaptureMarks& marks,
                                       std::uint8_t quality);

/// The block of a preview image.
std::vector<std::uint8_t> streamBlock(const GreyImage& image, const CaptureMarks& marks);

/// How much of the image the finger covers, in percent.
std::uint8_t coverage(const GreyImage& image);

} // namespace ridge::simulator
