#include "greyimage.h"

#include "commanderror.h"

#include <cstdint>
#include <string>

namespace ridge::tool {

void checkGrey(const CapturedImage& image) {
    if (image.bytes.empty()) {
        throw CommandError(ExitStatus::otherFailure, "the scanner sent a result without an image");
    }
    const std::uint64_t pixels = std::uint64_t{image.width} * image.height;
    if (image.bytes.size() != pixels) {
        throw CommandError(ExitStatus::otherFailure,
                           "the image is not 8-bit grey: " + std::to_string(image.width) + " x " +
                               std::to_string(image.height) + " pixels, but " +
                               std::to_string(image.bytes.size()) + " bytes instead of " +
                               std::to_string(pixels));
    }
}

} // namespace ridge::tool
