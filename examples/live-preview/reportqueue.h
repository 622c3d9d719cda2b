#pragma once

#include <windows.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <variant>
#include <vector>

namespace ridge::preview {

/// A scanner of the library's list.
struct AttachedScanner {
    std::string port;
    std::string serialNumber;

    bool operator==(const AttachedScanner&) const = default;
};

// What the window hears of. Texts are in the system's ANSI code page, as the library gives them.

struct ScannersFound {
    std::vector<AttachedScanner> scanners;
};

struct Connected {
    AttachedScanner scanner;
};

/// The wanted scanner, or any, is not there.
struct NotAttached {};

/// There is no session any more, or none has come about.
struct Disconnected {};

/// An image of 8-bit grey, row by row from the top.
struct Image {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> pixels;
    std::uint8_t extraValue = 0;
};

/// The scanner's capture event.
struct CaptureEvent {
    std::uint32_t elapsedMilliseconds = 0;
};

struct Failure {
    std::int32_t status = 0;
    std::string text;
};

/// The capture or stream is over: none of its reports follows.
struct OperationEnded {};

struct LogLine {
    std::string text;
};

/// The scanner's thread has let go of everything. This is its last report.
struct ScannerReleased {};

using Report = std::variant<ScannersFound, Connected, NotAttached, Disconnected, Image,
                            CaptureEvent, Failure, OperationEnded, LogLine, ScannerReleased>;

/// Carries reports to the window's thread, in their order. The queue owns them, and the posted
/// message only says that there are some: none is lost with a message that is not delivered, and a
/// burst of log lines does not fill the message queue.
class ReportQueue {
public:
    /// From now on this message is posted to the window when there is something to take.
    void attach(HWND receiver, UINT messageNumber);

    /// Any thread. Never waits for the window: the library's callbacks must not.
    void post(Report report);

    /// All reports so far.
    std::vector<Report> take();

private:
    std::mutex mutex;
    std::vector<Report> reports;
    HWND window = nullptr;
    UINT message = 0;
};

} // namespace ridge::preview
