#include "mainwindow.h"

#include "resource.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <system_error>
#include <utility>
#include <variant>

#include <dbt.h>

namespace ridge::preview {
namespace {

constexpr UINT reportsWaiting = WM_APP;

struct Control {
    int identifier;
    Command command;
};

constexpr std::array controls{Control{IDC_SCANNERS, Command::choose},
                              Control{IDC_REFRESH, Command::refresh},
                              Control{IDC_CONNECT, Command::connect},
                              Control{IDC_DISCONNECT, Command::disconnect},
                              Control{IDC_CAPTURE, Command::capture},
                              Control{IDC_STREAM, Command::stream},
                              Control{IDC_ASSISTED, Command::assistedCapture},
                              Control{IDC_ACCEPT, Command::accept},
                              Control{IDC_REJECT, Command::reject},
                              Control{IDC_STOP, Command::stop}};

std::string nameOf(const AttachedScanner& scanner) {
    return scanner.serialNumber.empty() ? scanner.port
                                        : scanner.serialNumber + " on " + scanner.port;
}

std::string sizeOf(const Image& image) {
    return std::to_string(image.width) + " x " + std::to_string(image.height);
}

std::string timeOfDay() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%02u:%02u:%02u", unsigned{now.wHour},
                  unsigned{now.wMinute}, unsigned{now.wSecond});
    return text.data();
}

} // namespace

MainWindow::MainWindow(Scanner& windowScanner, ReportQueue& windowReports)
    : scanner(windowScanner), reports(windowReports) {
    HINSTANCE program = GetModuleHandleA(nullptr);
    keys = LoadAcceleratorsA(program, MAKEINTRESOURCEA(IDR_KEYS));
    window = CreateDialogParamA(program, MAKEINTRESOURCEA(IDD_MAIN), nullptr, dialogProcedure,
                                reinterpret_cast<LPARAM>(this));
    if (window == nullptr) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                                "creating the window");
    }
    layout.emplace(window, std::initializer_list<Anchors>{{IDC_LIVE_CAPTION, 0, 0, 30, 0},
                                                          {IDC_LIVE, 0, 0, 30, 100},
                                                          {IDC_CAPTURED_CAPTION, 30, 0, 60, 0},
                                                          {IDC_CAPTURED, 30, 0, 60, 100},
                                                          {IDC_EVENTS_CAPTION, 60, 0, 100, 0},
                                                          {IDC_EVENTS, 60, 0, 100, 50},
                                                          {IDC_LOG_CAPTION, 60, 50, 100, 50},
                                                          {IDC_LOG, 60, 50, 100, 100}});
    eventList.emplace(control(IDC_EVENTS));
    logList.emplace(control(IDC_LOG));
    showState();
    reports.attach(window, reportsWaiting);
    scanner.find();
}

MainWindow::~MainWindow() {
    // Gone already unless the program ends by an exception.
    DestroyWindow(window);
}

void MainWindow::show(int how) const {
    ShowWindow(window, how);
}

bool MainWindow::translate(MSG& message) const {
    return TranslateAcceleratorA(window, keys, &message) != 0 ||
           IsDialogMessageA(window, &message) != 0;
}

INT_PTR CALLBACK MainWindow::dialogProcedure(HWND dialog, UINT message, WPARAM wide, LPARAM lng) {
    if (message == WM_INITDIALOG) {
        SetWindowLongPtrA(dialog, GWLP_USERDATA, lng);
        return TRUE;
    }
    auto* const self = reinterpret_cast<MainWindow*>(GetWindowLongPtrA(dialog, GWLP_USERDATA));
    // While the dialog is being made there is nobody to tell.
    return self != nullptr && self->layout ? self->onMessage(message, wide, lng) : FALSE;
}

INT_PTR MainWindow::onMessage(UINT message, WPARAM wide, LPARAM lng) {
    switch (message) {
    case reportsWaiting:
        takeReports();
        return TRUE;
    case WM_COMMAND:
        onCommand(LOWORD(wide));
        return TRUE;
    case WM_DEVICECHANGE:
        if (wide == DBT_DEVNODES_CHANGED) {
            perform(Command::refresh);
        }
        return FALSE;
    case WM_DRAWITEM:
        drawPicture(*reinterpret_cast<const DRAWITEMSTRUCT*>(lng));
        return TRUE;
    case WM_SIZE:
        resize(wide, lng);
        return TRUE;
    case WM_GETMINMAXINFO:
        reinterpret_cast<MINMAXINFO*>(lng)->ptMinTrackSize = layout->smallestWindow();
        return TRUE;
    case WM_CLOSE:
        close();
        return TRUE;
    case WM_DESTROY:
        PostQuitMessage(0);
        return TRUE;
    default:
        return FALSE;
    }
}

void MainWindow::onCommand(int control) {
    if (control == IDCANCEL) { // the Escape key
        perform(Command::stop);
        return;
    }
    const auto found =
        std::find_if(controls.begin(), controls.end(),
                     [control](const Control& each) { return each.identifier == control; });
    if (found != controls.end()) {
        perform(found->command);
    }
}

/// Also called by keys and by the system, so what is not allowed now is ignored.
void MainWindow::perform(Command command) {
    if (!state.allows(command)) {
        return;
    }
    switch (command) {
    case Command::choose:
        break;
    case Command::refresh:
        scanner.find();
        break;
    case Command::connect:
        scanner.connect(chosenScanner());
        enter(Phase::connecting);
        break;
    case Command::disconnect:
        scanner.disconnect();
        enter(Phase::disconnecting);
        break;
    case Command::capture:
        scanner.startCapture();
        enter(Phase::capturing);
        break;
    case Command::stream:
        scanner.startStream();
        enter(Phase::streaming);
        break;
    case Command::assistedCapture:
        scanner.startAssistedCapture();
        enter(Phase::judging);
        break;
    case Command::accept:
        scanner.judge(true);
        state.verdict = Verdict::accepted;
        showState();
        break;
    case Command::reject:
        scanner.judge(false);
        state.verdict = Verdict::none;
        showState();
        break;
    case Command::stop:
        scanner.stop();
        enter(Phase::stopping);
        break;
    }
}

/// The window stays until the scanner's thread has let go of the scanner, which may take as long as
/// a connect; meanwhile messages are handled as ever.
void MainWindow::close() {
    if (state.phase != Phase::closing) {
        scanner.release();
        enter(Phase::closing);
    }
}

void MainWindow::drawPicture(const DRAWITEMSTRUCT& item) const {
    (item.CtlID == IDC_LIVE ? live : captured).draw(item.hDC, item.rcItem);
}

void MainWindow::resize(WPARAM how, LPARAM size) const {
    if (how == SIZE_MINIMIZED) {
        return;
    }
    layout->apply();
    SendMessageA(control(IDC_STATUS), WM_SIZE, how, size); // it finds its place itself
    InvalidateRect(control(IDC_LIVE), nullptr, FALSE);
    InvalidateRect(control(IDC_CAPTURED), nullptr, FALSE);
}

void MainWindow::takeReports() {
    for (const Report& report : reports.take()) {
        std::visit([this](const auto& each) { on(each); }, report);
    }
    eventList->append(std::exchange(newEvents, {}));
    logList->append(std::exchange(newLogLines, {}));
}

void MainWindow::on(const ScannersFound& report) {
    if (report.scanners == scanners) {
        return;
    }
    const std::optional<AttachedScanner> before = chosenScanner();
    scanners = report.scanners;
    HWND list = control(IDC_SCANNERS);
    SendMessageA(list, CB_RESETCONTENT, 0, 0);
    for (const AttachedScanner& each : scanners) {
        SendMessageA(list, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(nameOf(each).c_str()));
    }
    const auto same =
        before ? std::find(scanners.begin(), scanners.end(), *before) : scanners.end();
    SendMessageA(list, CB_SETCURSEL,
                 same == scanners.end() ? 0 : static_cast<WPARAM>(same - scanners.begin()), 0);
}

void MainWindow::on(const Connected& report) {
    connectedTo = nameOf(report.scanner);
    note("Connected to " + connectedTo);
    enter(Phase::ready);
}

void MainWindow::on(const NotAttached&) {
    note("The scanner is not attached");
}

void MainWindow::on(const Disconnected&) {
    if (!connectedTo.empty()) {
        note("Disconnected from " + std::exchange(connectedTo, {}));
    }
    enter(Phase::disconnected);
}

void MainWindow::on(const Image& report) {
    if (!state.operationRuns()) {
        return; // came before a stop took effect
    }
    const bool isCapture = state.phase == Phase::capturing ||
                           (state.phase == Phase::judging && state.verdict == Verdict::accepted);
    if (isCapture) {
        showCaptured(report);
        perform(Command::stop);
        return;
    }
    showLive(report);
    if (state.phase == Phase::judging) {
        state.verdict = Verdict::awaited;
        showState();
    }
}

void MainWindow::on(const CaptureEvent& report) {
    note("Capture event after " + std::to_string(report.elapsedMilliseconds) + " ms");
}

void MainWindow::on(const Failure& report) {
    note("Error " + std::to_string(report.status) + ": " + report.text);
    if (state.survives(report.status, report.text)) {
        if (state.phase == Phase::judging) {
            state.verdict = Verdict::notShown;
            showState();
        }
    } else if (state.operationRuns()) {
        // After a failure of the port, only a new connect helps.
        perform(report.status == RIDGE_SERIAL_PORT_ERROR ? Command::disconnect : Command::stop);
    }
}

void MainWindow::on(const OperationEnded&) {
    if (state.phase == Phase::stopping) {
        enter(Phase::ready);
    }
}

void MainWindow::on(const LogLine& report) {
    newLogLines.push_back(report.text);
}

void MainWindow::on(const ScannerReleased&) {
    DestroyWindow(window);
}

void MainWindow::enter(Phase phase) {
    if (state.phase == Phase::closing) {
        return;
    }
    state = {phase, Verdict::none};
    showState();
}

void MainWindow::showLive(const Image& image) {
    if (!live.set(image)) {
        note("The image does not have 8 bits per pixel");
        return;
    }
    ++liveImages;
    const std::string caption = "Live image " + std::to_string(liveImages) + ": " + sizeOf(image);
    SetWindowTextA(control(IDC_LIVE_CAPTION), caption.c_str());
    InvalidateRect(control(IDC_LIVE), nullptr, FALSE);
}

void MainWindow::showCaptured(const Image& image) {
    if (!captured.set(image)) {
        note("The image does not have 8 bits per pixel");
        return;
    }
    const std::string size = sizeOf(image);
    note("Captured " + size + " pixels, extra value " + std::to_string(image.extraValue));
    SetWindowTextA(control(IDC_CAPTURED_CAPTION), ("Captured image: " + size).c_str());
    InvalidateRect(control(IDC_CAPTURED), nullptr, FALSE);
}

void MainWindow::showState() const {
    const std::string text =
        connectedTo.empty() ? state.description() : state.description() + " - " + connectedTo;
    SetWindowTextA(control(IDC_STATUS), text.c_str());
    for (const Control& each : controls) {
        if (state.allows(each.command)) {
            EnableWindow(control(each.identifier), TRUE);
        }
    }
    for (const Control& each : controls) {
        if (!state.allows(each.command)) {
            HWND button = control(each.identifier);
            // A disabled control must not keep the keyboard.
            if (GetFocus() == button) {
                SendMessageA(window, WM_NEXTDLGCTL, 0, FALSE);
            }
            EnableWindow(button, FALSE);
        }
    }
}

void MainWindow::note(const std::string& text) {
    newEvents.push_back(timeOfDay() + "  " + text);
}

std::optional<AttachedScanner> MainWindow::chosenScanner() const {
    const LRESULT index = SendMessageA(control(IDC_SCANNERS), CB_GETCURSEL, 0, 0);
    return index == CB_ERR ? std::nullopt
                           : std::optional(scanners.at(static_cast<std::size_t>(index)));
}

} // namespace ridge::preview
