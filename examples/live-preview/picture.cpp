#include "picture.h"

#include <algorithm>
#include <cstddef>

namespace ridge::preview {
namespace {

constexpr std::size_t rowAlignment = 4;
constexpr std::size_t greys = 256;

/// A bitmap's header with the palette behind it, as the system wants them.
struct GreyBitmapInfo {
    BITMAPINFOHEADER header{};
    RGBQUAD palette[greys]{};
};

GreyBitmapInfo greyBitmapInfo(LONG width, LONG height) {
    GreyBitmapInfo info;
    info.header.biSize = sizeof(info.header);
    info.header.biWidth = width;
    info.header.biHeight = -height; // from the top
    info.header.biPlanes = 1;
    info.header.biBitCount = 8;
    info.header.biCompression = BI_RGB;
    for (std::size_t grey = 0; grey < greys; ++grey) {
        const auto value = static_cast<BYTE>(grey);
        info.palette[grey] = {value, value, value, 0};
    }
    return info;
}

/// The largest rectangle of these proportions in the middle of the area.
RECT fitted(LONG width, LONG height, const RECT& area) {
    const LONG areaWidth = area.right - area.left;
    const LONG areaHeight = area.bottom - area.top;
    const LONG fittedWidth = std::min<LONG>(areaWidth, MulDiv(areaHeight, width, height));
    const LONG fittedHeight = std::min<LONG>(areaHeight, MulDiv(areaWidth, height, width));
    const LONG left = area.left + (areaWidth - fittedWidth) / 2;
    const LONG top = area.top + (areaHeight - fittedHeight) / 2;
    return {left, top, left + fittedWidth, top + fittedHeight};
}

} // namespace

bool Picture::set(const Image& image) {
    const std::size_t newWidth = image.width;
    const std::size_t newHeight = image.height;
    if (image.pixels.empty() || image.pixels.size() != newWidth * newHeight) {
        return false;
    }
    const std::size_t stride = (newWidth + rowAlignment - 1) / rowAlignment * rowAlignment;
    rows.assign(stride * newHeight, 0);
    for (std::size_t row = 0; row < newHeight; ++row) {
        std::copy_n(image.pixels.data() + row * newWidth, newWidth, rows.data() + row * stride);
    }
    width = static_cast<LONG>(newWidth);
    height = static_cast<LONG>(newHeight);
    return true;
}

void Picture::draw(HDC device, const RECT& area) const {
    const int saved = SaveDC(device);
    if (!rows.empty()) {
        const RECT place = fitted(width, height, area);
        const GreyBitmapInfo info = greyBitmapInfo(width, height);
        SetStretchBltMode(device, HALFTONE);
        // HALFTONE wants the brush aligned anew.
        SetBrushOrgEx(device, 0, 0, nullptr);
        StretchDIBits(device, place.left, place.top, place.right - place.left,
                      place.bottom - place.top, 0, 0, width, height, rows.data(),
                      reinterpret_cast<const BITMAPINFO*>(&info), DIB_RGB_COLORS, SRCCOPY);
        ExcludeClipRect(device, place.left, place.top, place.right, place.bottom);
    }
    FillRect(device, &area, GetSysColorBrush(COLOR_APPWORKSPACE));
    RestoreDC(device, saved);
}

} // namespace ridge::preview
