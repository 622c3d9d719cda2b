#pragma once

#include "fingerprint.h"
#include "greyimage.h"

#include <cstddef>
#include <future>
#include <vector>

namespace ridge::simulator {

/// Gives one finger after the other: the supplied images in turn, or synthetic fingers with
/// ascending seeds. Drawing one takes a while, on a busy machine longer than a host waits for an
/// answer: the next is drawn on a thread of its own while nobody asks for it. Passing over one that
/// is being drawn, and the end of the source, wait for that.
class FingerSource {
public:
    FingerSource(std::vector<GreyImage> images, const FingerprintOptions& first);

    /// The present finger; the first is drawn when it is first asked for.
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
    /// The next one to be taken into `drawn`, when there is any.
    std::future<GreyImage> drawing;
};

} // namespace ridge::simulator
