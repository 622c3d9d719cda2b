#include "fingersource.h"

#include <utility>

namespace ridge::simulator {

FingerSource::FingerSource(std::vector<GreyImage> images, const FingerprintOptions& first)
    : images(std::move(images)), options(first) {}

const GreyImage& FingerSource::image() {
    if (!images.empty()) {
        return images[imageIndex];
    }
    if (drawing.valid()) {
        drawn = drawing.get();
    } else if (drawn.pixels.empty()) {
        drawn = generateFingerprint(options);
    }
    return drawn;
}

void FingerSource::advance() {
    if (!images.empty()) {
        imageIndex = (imageIndex + 1) % images.size();
        return;
    }
    ++options.seed;
    drawn.pixels.clear();
    drawing = std::async(std::launch::async, generateFingerprint, options);
}

} // namespace ridge::simulator
