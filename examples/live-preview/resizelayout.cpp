#include "resizelayout.h"

namespace ridge::preview {
namespace {

SIZE sizeOf(const RECT& rectangle) {
    return {rectangle.right - rectangle.left, rectangle.bottom - rectangle.top};
}

SIZE clientSize(HWND window) {
    RECT rectangle{};
    GetClientRect(window, &rectangle);
    return sizeOf(rectangle);
}

SIZE windowSize(HWND window) {
    RECT rectangle{};
    GetWindowRect(window, &rectangle);
    return sizeOf(rectangle);
}

RECT placeInParent(HWND parent, HWND control) {
    RECT rectangle{};
    GetWindowRect(control, &rectangle);
    MapWindowPoints(nullptr, parent, reinterpret_cast<POINT*>(&rectangle), 2);
    return rectangle;
}

int resolutionOf(HWND window) {
    return static_cast<int>(GetDpiForWindow(window));
}

} // namespace

ResizeLayout::ResizeLayout(HWND dialogWindow, std::initializer_list<Anchors> anchors)
    : dialog(dialogWindow), resolution(resolutionOf(dialog)), client(clientSize(dialog)),
      window(windowSize(dialog)) {
    for (const Anchors& each : anchors) {
        places.push_back({each, placeInParent(dialog, GetDlgItem(dialog, each.control))});
    }
}

void ResizeLayout::apply() const {
    const SIZE now = clientSize(dialog);
    const SIZE growth{now.cx - scaled(client.cx), now.cy - scaled(client.cy)};
    // All at once, so that no control is drawn at a place that it leaves again.
    HDWP positions = BeginDeferWindowPos(static_cast<int>(places.size()));
    for (const Place& place : places) {
        const RECT to = grown(place, growth);
        const SIZE size = sizeOf(to);
        positions = DeferWindowPos(positions, GetDlgItem(dialog, place.anchors.control), nullptr,
                                   to.left, to.top, size.cx, size.cy,
                                   SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOOWNERZORDER);
    }
    EndDeferWindowPos(positions);
}

POINT ResizeLayout::smallestWindow() const {
    return {scaled(window.cx), scaled(window.cy)};
}

LONG ResizeLayout::scaled(LONG length) const {
    return MulDiv(length, resolutionOf(dialog), resolution);
}

RECT ResizeLayout::grown(const Place& place, SIZE growth) const {
    const RECT& from = place.rectangle;
    const Anchors& anchors = place.anchors;
    return {scaled(from.left) + MulDiv(growth.cx, anchors.left, 100),
            scaled(from.top) + MulDiv(growth.cy, anchors.top, 100),
            scaled(from.right) + MulDiv(growth.cx, anchors.right, 100),
            scaled(from.bottom) + MulDiv(growth.cy, anchors.bottom, 100)};
}

} // namespace ridge::preview
