#pragma once

#include <ridge-sdk.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace ridge::test {

/// What a running operation of the fake library does, on a thread of its own as the library does.
class FakeWorker {
public:
    FakeWorker(std::string operation, const ridgeCaptureCallbacks& callbacks, void* userContext);

    /// "capture", "host-assisted capture" or "stream"
    [[nodiscard]] const std::string& operation() const { return name; }

    void event(std::uint32_t elapsedMilliseconds);
    void image(std::uint32_t width, std::uint32_t height, const std::vector<std::uint8_t>& bytes);
    /// An image with extra value 7, trailer 01 AB and the flags A and C.
    void imageWithExtras(std::uint32_t width, std::uint32_t height,
                         const std::vector<std::uint8_t>& bytes);
    void error(std::int32_t status, const char* text);
    /// Waits for the host's verdict on the last image; nothing when the operation is stopped.
    std::optional<bool> verdict();
    void waitForStop();

    [[nodiscard]] bool hasEnded();
    void end();
    void giveVerdict(bool accepted);
    void stop();

private:
    std::string name;
    ridgeCaptureCallbacks callbacks;
    void* userContext;
    std::mutex mutex;
    std::condition_variable changed;
    std::optional<bool> givenVerdict;
    bool stopped = false;
    bool ended = false;
};

struct AttachedScanner {
    std::string port;
    std::string serialNumber;
    std::string description = "Ridge Scanner";
    std::string manufacturer = "Ridge";
};

/// Takes the library's place at link time. One at a time; its members may be set before the
/// program runs and read afterwards.
class FakeLibrary {
public:
    FakeLibrary();
    ~FakeLibrary();

    FakeLibrary(const FakeLibrary&) = delete;
    FakeLibrary& operator=(const FakeLibrary&) = delete;

    /// What is attached.
    std::vector<AttachedScanner> attached;
    std::int32_t queryStatus = RIDGE_SUCCESS;
    std::int32_t connectStatus = RIDGE_SUCCESS;
    std::int32_t startStatus = RIDGE_SUCCESS;
    std::int32_t settingsStatus = RIDGE_SUCCESS;
    std::int32_t securityStatus = RIDGE_SUCCESS;
    /// Belongs to whichever of the statuses above is a failure.
    std::string errorText;
    /// Runs inside each connect.
    std::function<void()> onConnect;
    ridgeDeviceInfo info{"one", "two", "three", "six", "five", "four", "seven", 11, 12, 0x05};
    /// What the scanner holds.
    ridgeDeviceSettings settings{2, 0};
    /// What an operation does once it has been started.
    std::function<void(FakeWorker&)> operation;

    /// What the scanner holds, and the key that it was given.
    std::vector<std::uint8_t> certificate;
    std::vector<std::uint8_t> key;
    /// What the creation of a signing request does, on a thread of its own.
    std::function<void(ridgeCsrCallback, ridgeErrorCallback, void* userContext)> createCsr;

    /// The calls in order, such as "connect COM7".
    std::vector<std::string> calls;
    ridgeCaptureParameters parameters{};
    std::vector<std::uint8_t> block;
    std::int32_t logLevel = 0;
    /// Hands a line to the installed logger.
    std::function<void(std::int32_t level, const char* line)> log;
    /// Lists and certificates that were handed out and not freed.
    int openLists = 0;
    int openCertificates = 0;
    /// The threads on which operations were stopped.
    std::vector<std::thread::id> stoppingThreads;
};

} // namespace ridge::test
