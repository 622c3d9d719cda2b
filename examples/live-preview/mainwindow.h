#pragma once

#include "linelist.h"
#include "picture.h"
#include "previewstate.h"
#include "reportqueue.h"
#include "resizelayout.h"
#include "scanner.h"

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace ridge::preview {

/// The program's window: hands what the user wants to the scanner, and shows what the scanner
/// reports. Nothing here waits.
class MainWindow {
public:
    /// Throws std::system_error.
    MainWindow(Scanner& windowScanner, ReportQueue& windowReports);
    ~MainWindow();

    MainWindow(const MainWindow&) = delete;
    MainWindow& operator=(const MainWindow&) = delete;

    void show(int how) const;
    /// Whether the message was for the keyboard's way through the controls.
    bool translate(MSG& message) const;

private:
    static INT_PTR CALLBACK dialogProcedure(HWND dialog, UINT message, WPARAM wide, LPARAM lng);
    INT_PTR onMessage(UINT message, WPARAM wide, LPARAM lng);

    void onCommand(int control);
    void perform(Command command);
    void close();
    void drawPicture(const DRAWITEMSTRUCT& item) const;
    void resize(WPARAM how, LPARAM size) const;

    void takeReports();
    void on(const ScannersFound& report);
    void on(const Connected& report);
    void on(const NotAttached& report);
    void on(const Disconnected& report);
    void on(const Image& report);
    void on(const CaptureEvent& report);
    void on(const Failure& report);
    void on(const OperationEnded& report);
    void on(const LogLine& report);
    void on(const ScannerReleased& report);

    void enter(Phase phase);
    void showLive(const Image& image);
    void showCaptured(const Image& image);
    void showState() const;
    void note(const std::string& text);
    [[nodiscard]] std::optional<AttachedScanner> chosenScanner() const;
    [[nodiscard]] HWND control(int identifier) const { return GetDlgItem(window, identifier); }

    Scanner& scanner;
    ReportQueue& reports;
    HACCEL keys = nullptr;
    HWND window = nullptr;
    std::optional<ResizeLayout> layout;
    std::optional<LineList> eventList;
    std::optional<LineList> logList;

    PreviewState state;
    std::vector<AttachedScanner> scanners;
    std::string connectedTo;
    Picture live;
    Picture captured;
    unsigned liveImages = 0;
    /// Lines of the reports that are being taken.
    std::vector<std::string> newEvents;
    std::vector<std::string> newLogLines;
};

} // namespace ridge::preview
