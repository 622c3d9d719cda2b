#include "previewprogram.h"

#include "patience.h"
#include "resource.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

namespace ridge::test {
namespace {

/// How soon a window is looked at again: it does not tell others when its texts change.
constexpr DWORD pollMilliseconds = 10;
constexpr const char* title = "Ridge live preview";
/// Behind "12:34:56  ".
constexpr std::size_t eventTextBegin = 10;

std::string windowText(HWND window) {
    const LRESULT length = SendMessageA(window, WM_GETTEXTLENGTH, 0, 0);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    const LRESULT copied =
        SendMessageA(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<std::size_t>(copied));
    return text;
}

/// The texts of a list box or combo box. These are Unicode windows, and what they answer to another
/// process is not converted.
std::vector<std::string> itemTexts(HWND list, UINT countMessage, UINT lengthMessage,
                                   UINT textMessage) {
    std::vector<std::string> texts;
    const LRESULT count = SendMessageW(list, countMessage, 0, 0);
    for (LRESULT index = 0; index < count; ++index) {
        const auto item = static_cast<WPARAM>(index);
        const LRESULT length = SendMessageW(list, lengthMessage, item, 0);
        std::wstring text(static_cast<std::size_t>(length) + 1, L'\0');
        SendMessageW(list, textMessage, item, reinterpret_cast<LPARAM>(text.data()));
        text.resize(static_cast<std::size_t>(length));
        texts.push_back(std::filesystem::path(text).string());
    }
    return texts;
}

} // namespace

PreviewProgram::PreviewProgram()
    : process("example-live-preview.exe", {}, [](const std::string&) {}) {
    try {
        await("the window is there", [this] {
            main = FindWindowA(nullptr, title);
            return main != nullptr && IsWindowVisible(main) != 0;
        });
    } catch (...) {
        process.kill();
        throw;
    }
}

PreviewProgram::~PreviewProgram() {
    if (WaitForSingleObject(process.handle(), 0) != WAIT_OBJECT_0) {
        process.kill();
    }
}

HWND PreviewProgram::control(int identifier) const {
    return GetDlgItem(main, identifier);
}

bool PreviewProgram::enabled(int identifier) const {
    return IsWindowEnabled(control(identifier)) != 0;
}

std::string PreviewProgram::text(int identifier) const {
    return windowText(control(identifier));
}

std::string PreviewProgram::status() const {
    return text(IDC_STATUS);
}

std::vector<std::string> PreviewProgram::lines(int identifier) const {
    return itemTexts(control(identifier), LB_GETCOUNT, LB_GETTEXTLEN, LB_GETTEXT);
}

std::vector<std::string> PreviewProgram::scanners() const {
    return itemTexts(control(IDC_SCANNERS), CB_GETCOUNT, CB_GETLBTEXTLEN, CB_GETLBTEXT);
}

int PreviewProgram::liveImages() const {
    int number = 0;
    std::sscanf(text(IDC_LIVE_CAPTION).c_str(), "Live image %d", &number);
    return number;
}

int PreviewProgram::focused() const {
    GUITHREADINFO info{};
    info.cbSize = sizeof(info);
    GetGUIThreadInfo(GetWindowThreadProcessId(main, nullptr), &info);
    return info.hwndFocus == nullptr ? 0 : GetDlgCtrlID(info.hwndFocus);
}

RECT PreviewProgram::place(int identifier) const {
    RECT rectangle{};
    GetWindowRect(control(identifier), &rectangle);
    MapWindowPoints(nullptr, main, reinterpret_cast<POINT*>(&rectangle), 2);
    return rectangle;
}

void PreviewProgram::press(int identifier) const {
    if (!enabled(identifier)) {
        throw std::logic_error("\"" + text(identifier) + "\" cannot be pressed: " + status());
    }
    SendMessageA(control(identifier), BM_CLICK, 0, 0);
}

void PreviewProgram::key(WPARAM virtualKey) const {
    PostMessageA(control(focused()), WM_KEYDOWN, virtualKey, 1);
}

void PreviewProgram::altKey(char letter) const {
    constexpr LPARAM withAlt = 1 << 29;
    PostMessageA(control(focused()), WM_SYSCHAR, static_cast<WPARAM>(letter), withAlt);
}

void PreviewProgram::choose(std::size_t scanner) const {
    SendMessageA(control(IDC_SCANNERS), CB_SETCURSEL, scanner, 0);
}

void PreviewProgram::resize(int width, int height) const {
    SetWindowPos(main, nullptr, 0, 0, width, height, SWP_NOZORDER | SWP_NOACTIVATE);
}

void PreviewProgram::await(const std::string& what, const std::function<bool()>& condition) const {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (WaitForSingleObject(process.handle(), pollMilliseconds) == WAIT_OBJECT_0) {
            throw std::runtime_error("the program ended before " + what);
        }
        if (std::chrono::steady_clock::now() > end) {
            std::string seen;
            for (const std::string& line : lines(IDC_EVENTS)) {
                seen += line + "\n";
            }
            throw std::runtime_error("it never came about that " + what + "; the status is \"" +
                                     status() + "\", the events are:\n" + seen);
        }
    }
}

void PreviewProgram::awaitStatus(const std::string& wanted) const {
    await("the status is \"" + wanted + "\"", [&] { return status() == wanted; });
}

void PreviewProgram::awaitEvent(const std::string& wanted) const {
    await("there is the event \"" + wanted + "\"", [&] { return hasEvent(wanted); });
}

bool PreviewProgram::hasEvent(const std::string& wanted) const {
    const std::vector<std::string> events = lines(IDC_EVENTS);
    return std::any_of(events.begin(), events.end(), [&](const std::string& line) {
        return line.size() >= eventTextBegin && line.substr(eventTextBegin) == wanted;
    });
}

void PreviewProgram::askToClose() const {
    PostMessageA(main, WM_CLOSE, 0, 0);
}

unsigned long PreviewProgram::awaitEnd() {
    constexpr auto limit = static_cast<DWORD>(std::chrono::milliseconds(patience).count());
    if (WaitForSingleObject(process.handle(), limit) != WAIT_OBJECT_0) {
        throw std::runtime_error("the program does not end; the status is \"" + status() + "\"");
    }
    return process.wait();
}

} // namespace ridge::test
