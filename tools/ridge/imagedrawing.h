#pragma once

#include "capturedimage.h"
#include "environment.h"

#include <cstddef>
#include <string>

namespace ridge::tool {

/// Draws an image in lines of at most `columns` characters, each with its line break: as half-block
/// characters whose two colours are two pixels, one above the other. Throws CommandError when the
/// image's bytes are not one per pixel.
[[nodiscard]] std::string drawInColours(const CapturedImage& image, std::size_t columns);

/// The same with characters that are the denser the darker the image is.
[[nodiscard]] std::string drawInCharacters(const CapturedImage& image, std::size_t columns);

/// Draws an image on the standard output as the terminal allows; in a file it is 80 characters
/// wide, without escape sequences.
void show(const CapturedImage& image, const Environment& environment);

} // namespace ridge::tool
