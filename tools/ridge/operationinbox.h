#pragma once

#include "capturedimage.h"

#include <ridge-sdk.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace ridge::tool {

struct OperationFailure {
    std::int32_t status;
    std::string text;
};

struct FingerEvent {
    std::uint32_t elapsedMilliseconds;
};

struct SigningRequest {
    std::vector<std::uint8_t> bytes;
};

struct InterruptionWish {};

using OperationMessage =
    std::variant<CapturedImage, OperationFailure, FingerEvent, SigningRequest, InterruptionWish>;

/// Carries what the library's worker calls back over to the thread that waits for it.
class OperationInbox {
public:
    /// Callbacks whose user context is an inbox.
    static ridgeCaptureCallbacks callbacks();
    static ridgeCsrCallback csrCallback();

    void post(OperationMessage message);

    /// The next message in order of arrival; nothing when none arrives in time.
    std::optional<OperationMessage> wait(std::chrono::milliseconds patience);

    /// What has arrived already.
    std::optional<OperationMessage> poll() { return wait(std::chrono::milliseconds::zero()); }

private:
    /// No exception may go through the library: the waiting thread throws it.
    template <typename MakeMessage>
    void deliver(const MakeMessage& makeMessage) noexcept;

    std::mutex mutex;
    std::condition_variable arrived;
    std::deque<OperationMessage> messages;
    std::exception_ptr fault;
};

} // namespace ridge::tool
