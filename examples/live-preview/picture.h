#pragma once

#include "reportqueue.h"

#include <windows.h>

namespace ridge::preview {

/// A grey picture that fills an area as far as its proportions allow.
class Picture {
public:
    /// Keeps the picture that it has if the bytes are not those of an 8-bit image.
    [[nodiscard]] bool set(const Image& image);

    /// Draws each pixel of the area once, so nothing flickers.
    void draw(HDC device, const RECT& area) const;

private:
    LONG width = 0;
    LONG height = 0;
    /// A device-independent bitmap's rows begin at multiples of four bytes.
    std::vector<std::uint8_t> rows;
};

} // namespace ridge::preview
