#pragma once

#include "greyimage.h"

#include <string>

namespace ridge::simulator {

/// Reads a picture of any usual format as 8-bit grey. Throws std::runtime_error.
GreyImage readImageFile(const std::string& path);

} // namespace ridge::simulator
