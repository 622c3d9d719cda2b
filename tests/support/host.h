#pragma once

#include "codescope.h"
#include "ridge-sdk.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace ridge::test {

/// What a capture callback was given, copied.
struct ReceivedImage {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> image;
    std::uint8_t extraValue = 0;
    std::vector<std::uint8_t> trailer;
    bool flagA = false;
    bool flagB = false;
    bool flagC = false;
};

struct ReceivedFailure {
    std::int32_t status = 0;
    std::string message;

    bool operator==(const ReceivedFailure&) const = default;
};

void PrintTo(const ReceivedFailure& failure, std::ostream* stream);

/// A host application: one device context, and what its callbacks were told. Waiting gives up
/// after a minute, long past every time-out of the library.
class Host {
public:
    Host();
    ~Host();

    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    [[nodiscard]] ridgeDeviceContext* context() const { return handle; }
    [[nodiscard]] std::string lastError() const { return ridgeGetLastErrorDescription(handle); }

    std::int32_t connect(const std::string& portName) {
        return inLibrary([&] { return ridgeConnectCOM(portName.c_str(), handle); });
    }

    /// What the host says of an image, from inside the callback; without a judge it says nothing.
    void judgeWith(std::function<std::uint8_t(const ReceivedImage&)> judge);

    std::int32_t startCapture(ridgeCaptureParameters parameters, bool withEvents = false,
                              const std::uint8_t* block = nullptr);
    std::int32_t startHostAssistedCapture(ridgeCaptureParameters parameters);
    std::int32_t startStream(const std::uint8_t* block = nullptr);
    void stopCapture();
    void disconnect();
    /// Before the host itself goes; what has come stays.
    void freeContext();

    /// Each waits until so many have come, and returns all of them.
    std::vector<ReceivedImage> waitForImages(std::size_t count);
    std::vector<ReceivedFailure> waitForFailures(std::size_t count);
    std::vector<std::uint32_t> waitForEvents(std::size_t count);
    /// Waits until so many images have come, or a failure.
    void waitForImagesOrFailure(std::size_t count);

    /// What has come up to now.
    std::vector<ReceivedImage> images() const;
    std::vector<ReceivedFailure> failures() const;
    /// As if nothing had come; not while an operation runs.
    void forgetWhatCame();

private:
    static void onError(std::int32_t status, const char* message, void* userContext);
    static void onCapture(const ridgeCaptureResult* result, void* userContext);
    static void onEvent(void* userContext, std::uint32_t elapsedMilliseconds);

    template <typename Item>
    std::vector<Item> waitFor(const std::vector<Item>& items, std::size_t count);
    template <typename Condition>
    void waitUntil(std::size_t count, const Condition& condition);

    ridgeDeviceContext* handle;
    std::function<std::uint8_t(const ReceivedImage&)> judge;
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<ReceivedImage> receivedImages;
    std::vector<ReceivedFailure> receivedFailures;
    std::vector<std::uint32_t> receivedEvents;
};

/// Captures of ten seconds for any finger.
inline constexpr ridgeCaptureParameters anyFinger{0, 10000, 1};

} // namespace ridge::test
