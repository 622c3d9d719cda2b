#pragma once

#include "fingerprint.h"
#include "greyimage.h"

#include <cstddef>
#include <vector>

namespace ridge::simulator {

/// Gives one finger after the other: the supplied images in turn, or synthetic fingers with
/// ascending seeds.
class FingerSource {
public:
    FingerSource(std::vector<GreyImage> images, const FingerprintOptions& first);

    /// The present finger; it is drawn when it is first asked for.
    const GreyImage& image();

    /// Another finger lies down.
    void advance();

    /// Seed of the present finger.
    [[nodiscard]] std::uint32_t seed() const { return options.seed; }

private:
    std::vector<GreyImage> images;
    std::size_t imageIndex = 0;
    FingerprintOptions options;
    GreyImage drawn;
};

} // namespace ridge::simulator
