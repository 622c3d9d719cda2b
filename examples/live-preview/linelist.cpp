#include "linelist.h"

namespace ridge::preview {
namespace {

constexpr LRESULT linesKept = 1000;

} // namespace

void LineList::append(const std::vector<std::string>& lines) {
    if (lines.empty()) {
        return;
    }
    HDC device = GetDC(window);
    const HGDIOBJ previous =
        SelectObject(device, reinterpret_cast<HFONT>(SendMessageA(window, WM_GETFONT, 0, 0)));
    SendMessageA(window, WM_SETREDRAW, FALSE, 0);
    LRESULT last = 0;
    for (const std::string& line : lines) {
        widenTo(line, device);
        last = SendMessageA(window, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(line.c_str()));
        if (last >= linesKept) {
            SendMessageA(window, LB_DELETESTRING, 0, 0);
            --last;
        }
    }
    SendMessageA(window, LB_SETTOPINDEX, static_cast<WPARAM>(last), 0);
    SendMessageA(window, WM_SETREDRAW, TRUE, 0);
    InvalidateRect(window, nullptr, TRUE);
    SelectObject(device, previous);
    ReleaseDC(window, device);
}

void LineList::widenTo(const std::string& line, HDC device) {
    SIZE size{};
    GetTextExtentPoint32A(device, line.c_str(), static_cast<int>(line.size()), &size);
    if (size.cx > widest) {
        widest = size.cx;
        SendMessageA(window, LB_SETHORIZONTALEXTENT, static_cast<WPARAM>(widest), 0);
    }
}

} // namespace ridge::preview
