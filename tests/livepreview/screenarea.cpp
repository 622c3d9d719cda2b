#include "screenarea.h"

#include <cstddef>
#include <stdexcept>

namespace ridge::test {
namespace {

constexpr std::size_t bytesPerPixel = 3;

} // namespace

ScreenArea::ScreenArea(const RECT& area)
    : columns(area.right - area.left), rows(area.bottom - area.top) {
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = columns;
    info.bmiHeader.biHeight = -rows; // from the top
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;

    HDC screen = GetDC(nullptr);
    HDC memory = CreateCompatibleDC(screen);
    void* bits = nullptr;
    HBITMAP bitmap = CreateDIBSection(memory, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    if (bitmap != nullptr) {
        const HGDIOBJ previous = SelectObject(memory, bitmap);
        BitBlt(memory, 0, 0, columns, rows, screen, area.left, area.top, SRCCOPY);
        GdiFlush();
        const std::size_t count =
            static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
        const auto* quad = static_cast<const RGBQUAD*>(bits);
        bytes.reserve(count * bytesPerPixel);
        for (const RGBQUAD* const end = quad + count; quad != end; ++quad) {
            bytes.insert(bytes.end(), {quad->rgbRed, quad->rgbGreen, quad->rgbBlue});
        }
        SelectObject(memory, previous);
        DeleteObject(bitmap);
    }
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    if (bytes.empty()) {
        throw std::runtime_error("the screen cannot be read");
    }
}

COLORREF ScreenArea::colour(int column, int row) const {
    const std::size_t index = (static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
                               static_cast<std::size_t>(column)) *
                              bytesPerPixel;
    return RGB(bytes.at(index), bytes.at(index + 1), bytes.at(index + 2));
}

RECT clientAreaOnScreen(HWND window) {
    RECT area{};
    GetClientRect(window, &area);
    MapWindowPoints(window, nullptr, reinterpret_cast<POINT*>(&area), 2);
    return area;
}

} // namespace ridge::test
