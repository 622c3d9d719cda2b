#pragma once

#include <windows.h>

#include <initializer_list>
#include <vector>

namespace ridge::preview {

/// By how many percent of its window's growth each edge of a control moves.
struct Anchors {
    int control;
    int left;
    int top;
    int right;
    int bottom;
};

/// Moves the controls of a dialog when it is resized. Each keeps its place of the dialog template,
/// at any resolution, and gets its share of what the window is larger.
class ResizeLayout {
public:
    ResizeLayout(HWND dialogWindow, std::initializer_list<Anchors> anchors);

    void apply() const;
    /// The smallest size of the window: that of the template.
    [[nodiscard]] POINT smallestWindow() const;

private:
    struct Place {
        Anchors anchors;
        RECT rectangle;
    };

    [[nodiscard]] LONG scaled(LONG length) const;
    [[nodiscard]] RECT grown(const Place& place, SIZE growth) const;

    HWND dialog;
    int resolution;
    SIZE client;
    SIZE window;
    std::vector<Place> places;
};

} // namespace ridge::preview
