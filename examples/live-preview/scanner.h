#pragma once

#include "reportqueue.h"
#include "ridge-sdk.h"
#include "taskthread.h"

#include <memory>
#include <optional>

namespace ridge::preview {

struct ContextRelease {
    void operator()(ridgeDeviceContext* context) const { ridgeFreeDeviceContext(context); }
};

/// One device context and the thread that uses it.
///
/// The library's functions are called on this thread alone: a context belongs to one thread at a
/// time, a connect may block for twelve seconds, and a stop or disconnect for some seconds more,
/// with a scanner that does not answer. The functions here only hand the thread a task and return;
/// what comes of it arrives as reports.
class Scanner {
public:
    /// The queue must outlive the process's last use of the library: its log lines go there, and a
    /// logger cannot be removed.
    explicit Scanner(ReportQueue& queue);

    /// Looks for scanners, and whether the connected one is still there.
    void find();
    /// Without a choice: to the first scanner.
    void connect(std::optional<AttachedScanner> choice);
    void disconnect();

    void startCapture();
    void startAssistedCapture();
    void startStream();
    /// The verdict on the image that an assisted capture showed last.
    void judge(bool accept);
    /// Ends a capture or stream, or waits for one that is ending: the library wants that before the
    /// next start.
    void stop();

    /// Lets go of the scanner; its report is the last one.
    void release();

private:
    void connectNow(const std::optional<AttachedScanner>& choice);
    void disconnectNow();
    void checkSession();
    void reportStart(std::int32_t status);

    ReportQueue& reports;
    /// Used on the thread alone, as is `hasSession`.
    std::unique_ptr<ridgeDeviceContext, ContextRelease> context{ridgeCreateDeviceContext()};
    bool hasSession = false;
    /// Goes before what its tasks use.
    TaskThread thread;
};

} // namespace ridge::preview
