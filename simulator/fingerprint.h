#pragma once

#include "greyimage.h"
#include "orientationfield.h"

#include <cstdint>
#include <optional>

namespace ridge::simulator {

struct FingerprintOptions {
    /// The same seed gives the same finger, pixel for pixel, whatever compiled this.
    std::uint32_t seed = 1;
    /// Without one the seed chooses, about as often as people have them.
    std::optional<FingerprintPattern> pattern;
    std::uint32_t width = 300;
    std::uint32_t height = 400;
};

/// Dark ridges on white, at 500 dots per inch.
GreyImage generateFingerprint(const FingerprintOptions& options);

} // namespace ridge::simulator
