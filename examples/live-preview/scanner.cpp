#include "scanner.h"

#include <algorithm>
#include <span>
#include <utility>

namespace ridge::preview {
namespace {

// The library calls these on its own threads. What they are given is gone when they return, so they
// copy it; and they post and do not send: the scanner's thread may be waiting for them to return.

ReportQueue& queueOf(void* userContext) {
    return *static_cast<ReportQueue*>(userContext);
}

void onLogLine(std::int32_t, const char* line, void* userContext) {
    queueOf(userContext).post(LogLine{line});
}

void onError(std::int32_t status, const char* message, void* userContext) {
    queueOf(userContext).post(Failure{status, message});
}

void onImage(const ridgeCaptureResult* result, void* userContext) {
    const std::span bytes(result->image, result->imageSize);
    queueOf(userContext)
        .post(
            Image{result->width, result->height, {bytes.begin(), bytes.end()}, result->extraValue});
}

void onEvent(void* userContext, std::uint32_t elapsedMilliseconds) {
    queueOf(userContext).post(CaptureEvent{elapsedMilliseconds});
}

constexpr ridgeCaptureCallbacks callbacks{onError, onImage, onEvent};
constexpr ridgeCaptureParameters parameters{1, 30000, 1};

struct ListRelease {
    void operator()(ridgeDeviceList* list) const { ridgeFreeDevices(list); }
};
using DeviceList = std::unique_ptr<ridgeDeviceList, ListRelease>;

DeviceList queryDevices() {
    ridgeDeviceList* list = nullptr;
    ridgeQueryDevices(&list);
    return DeviceList(list);
}

std::span<const ridgeDeviceEntry> entries(const DeviceList& list) {
    return {list->devices, list->count};
}

AttachedScanner attachedScanner(const ridgeDeviceEntry& entry) {
    return {entry.portName, entry.serialNumber};
}

ScannersFound scannersFound(const DeviceList& list) {
    ScannersFound found;
    for (const ridgeDeviceEntry& entry : entries(list)) {
        found.scanners.push_back(attachedScanner(entry));
    }
    return found;
}

} // namespace

Scanner::Scanner(ReportQueue& queue) : reports(queue) {
    ridgeSetLogger('I', onLogLine, &reports);
}

void Scanner::find() {
    thread.post([this] {
        reports.post(scannersFound(queryDevices()));
        checkSession();
    });
}

void Scanner::connect(std::optional<AttachedScanner> choice) {
    thread.post([this, choice = std::move(choice)] { connectNow(choice); });
}

void Scanner::disconnect() {
    thread.post([this] { disconnectNow(); });
}

void Scanner::startCapture() {
    thread.post([this] {
        reportStart(ridgeStartCapture(context.get(), &parameters, nullptr, &callbacks, &reports));
    });
}

void Scanner::startAssistedCapture() {
    thread.post([this] {
        reportStart(ridgeStartHostAssistedCapture(context.get(), &parameters, nullptr, &callbacks,
                                                  &reports));
    });
}

void Scanner::startStream() {
    thread.post(
        [this] { reportStart(ridgeStartStream(context.get(), nullptr, &callbacks, &reports)); });
}

void Scanner::judge(bool accept) {
    thread.post(
        [this, accept] { ridgeHostAssistedCaptureSetResult(context.get(), accept ? 1 : 0); });
}

void Scanner::stop() {
    thread.post([this] {
        ridgeStopCapture(context.get());
        reports.post(OperationEnded{});
        checkSession();
    });
}

void Scanner::release() {
    thread.post([this] {
        context.reset();
        reports.post(ScannerReleased{});
    });
}

void Scanner::connectNow(const std::optional<AttachedScanner>& choice) {
    // A list is a snapshot: the scanner may have come, gone or changed its port since the last one.
    const DeviceList list = queryDevices();
    reports.post(scannersFound(list));
    const std::span<const ridgeDeviceEntry> devices = entries(list);
    const auto wanted =
        std::find_if(devices.begin(), devices.end(), [&choice](const ridgeDeviceEntry& entry) {
            return !choice || attachedScanner(entry) == *choice;
        });
    if (wanted == devices.end()) {
        reports.post(NotAttached{});
        reports.post(Disconnected{});
        return;
    }
    const std::int32_t status = ridgeConnect(&*wanted, context.get());
    hasSession = status == RIDGE_SUCCESS;
    if (hasSession) {
        reports.post(Connected{attachedScanner(*wanted)});
    } else {
        reports.post(Failure{status, ridgeGetLastErrorDescription(context.get())});
        reports.post(Disconnected{});
    }
}

/// A lost session is noticed by checkSession and, from an operation's error, by the window. The
/// second to notice finds it gone: a late report of its end would meet the next connect.
void Scanner::disconnectNow() {
    if (std::exchange(hasSession, false)) {
        ridgeDisconnect(context.get());
        reports.post(Disconnected{});
    }
}

/// A session whose port has failed, or that was released because of it, is of no use any more: only
/// a new connect helps, and that needs a disconnect.
void Scanner::checkSession() {
    ridgeDeviceInfo info{};
    const std::int32_t status = hasSession ? ridgeGetInfo(context.get(), &info) : RIDGE_SUCCESS;
    if (status != RIDGE_SUCCESS) {
        reports.post(Failure{status, ridgeGetLastErrorDescription(context.get())});
        disconnectNow();
    }
}

void Scanner::reportStart(std::int32_t status) {
    if (status != RIDGE_SUCCESS) {
        reports.post(Failure{status, ridgeGetLastErrorDescription(context.get())});
    }
}

} // namespace ridge::preview
