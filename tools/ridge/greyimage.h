#pragma once

#include "capturedimage.h"

namespace ridge::tool {

/// Throws CommandError when the image's bytes are not one per pixel.
void checkGrey(const CapturedImage& image);

} // namespace ridge::tool
