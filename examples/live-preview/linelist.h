#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace ridge::preview {

/// Shows lines in a list box: the newest at the end and in sight, the oldest dropped.
class LineList {
public:
    explicit LineList(HWND listBox) : window(listBox) {}

    void append(const std::vector<std::string>& lines);

private:
    void widenTo(const std::string& line, HDC device);

    HWND window;
    LONG widest = 0;
};

} // namespace ridge::preview
