// Live preview: shows what a fingerprint scanner sees.

#include "mainwindow.h"
#include "reportqueue.h"
#include "scanner.h"

#include <exception>

#include <commctrl.h>
#include <windows.h>

namespace {

void run(int how) {
    // The library's logger writes to it, and that cannot be removed.
    static ridge::preview::ReportQueue reports;
    ridge::preview::Scanner scanner(reports);
    ridge::preview::MainWindow window(scanner, reports);
    window.show(how);
    MSG message{};
    while (GetMessageA(&message, nullptr, 0, 0) > 0) {
        if (!window.translate(message)) {
            TranslateMessage(&message);
            DispatchMessageA(&message);
        }
    }
}

} // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int how) {
    const INITCOMMONCONTROLSEX classes{sizeof(classes), ICC_STANDARD_CLASSES | ICC_BAR_CLASSES};
    InitCommonControlsEx(&classes);
    try {
        run(how);
    } catch (const std::exception& failure) {
        MessageBoxA(nullptr, failure.what(), "Ridge live preview", MB_ICONERROR);
        return 1;
    }
    return 0;
}
