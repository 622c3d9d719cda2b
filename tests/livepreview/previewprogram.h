#pragma once

#include "childprocess.h"

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

namespace ridge::test {

/// The live preview in a process of its own, used as a person would: by its window. All waiting
/// gives up after a minute, and at once when the program has ended.
class PreviewProgram {
public:
    /// Starts the program and waits for its window.
    PreviewProgram();
    /// Kills the program if it still runs.
    ~PreviewProgram();

    PreviewProgram(const PreviewProgram&) = delete;
    PreviewProgram& operator=(const PreviewProgram&) = delete;

    [[nodiscard]] HWND window() const { return main; }
    [[nodiscard]] HWND control(int identifier) const;

    [[nodiscard]] bool enabled(int identifier) const;
    [[nodiscard]] std::string text(int identifier) const;
    [[nodiscard]] std::string status() const;
    /// The lines of a list box.
    [[nodiscard]] std::vector<std::string> lines(int identifier) const;
    /// The entries of the list of scanners.
    [[nodiscard]] std::vector<std::string> scanners() const;
    /// The number of images that have been shown live.
    [[nodiscard]] int liveImages() const;
    /// Which control has the keyboard; 0 for none.
    [[nodiscard]] int focused() const;
    /// A control's place in the window.
    [[nodiscard]] RECT place(int identifier) const;

    /// Presses a button; throws if it cannot be pressed.
    void press(int identifier) const;
    /// Presses a key where the keyboard is.
    void key(WPARAM virtualKey) const;
    /// Presses a letter together with Alt.
    void altKey(char letter) const;
    void choose(std::size_t scanner) const;
    void resize(int width, int height) const;

    /// Waits until it is so.
    void await(const std::string& what, const std::function<bool()>& condition) const;
    void awaitStatus(const std::string& text) const;
    /// Waits for a line of the events that is this text behind its time of day.
    void awaitEvent(const std::string& text) const;
    [[nodiscard]] bool hasEvent(const std::string& text) const;

    /// Asks the window to close.
    void askToClose() const;
    /// Waits for the program's end; its exit status.
    unsigned long awaitEnd();

private:
    ChildProcess process;
    HWND main = nullptr;
};

} // namespace ridge::test
