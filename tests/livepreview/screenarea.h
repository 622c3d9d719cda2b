#pragma once

#include <windows.h>

#include <cstdint>
#include <vector>

namespace ridge::test {

/// What is to be seen on a part of the screen.
class ScreenArea {
public:
    explicit ScreenArea(const RECT& area);

    [[nodiscard]] int width() const { return columns; }
    [[nodiscard]] int height() const { return rows; }
    [[nodiscard]] COLORREF colour(int column, int row) const;
    /// Rows from the top, each pixel red, green, blue.
    [[nodiscard]] const std::vector<std::uint8_t>& pixels() const { return bytes; }

private:
    int columns;
    int rows;
    std::vector<std::uint8_t> bytes;
};

/// Where a window's client area is on the screen.
RECT clientAreaOnScreen(HWND window);

} // namespace ridge::test
