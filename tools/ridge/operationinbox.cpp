#include "operationinbox.h"

#include <utility>

namespace ridge::tool {
namespace {

OperationInbox& inboxOf(void* userContext) {
    return *static_cast<OperationInbox*>(userContext);
}

std::vector<std::uint8_t> copyOf(const std::uint8_t* bytes, std::uint32_t size) {
    return size == 0 ? std::vector<std::uint8_t>() : std::vector<std::uint8_t>(bytes, bytes + size);
}

CapturedImage copyOf(const ridgeCaptureResult& result) {
    return {result.width,
            result.height,
            copyOf(result.image, result.imageSize),
            result.extraValue,
            copyOf(result.trailer, result.trailerSize),
            result.flagA != 0,
            result.flagB != 0,
            result.flagC != 0};
}

} // namespace

ridgeCaptureCallbacks OperationInbox::callbacks() {
    ridgeCaptureCallbacks callbacks{};
    callbacks.errorCallback = [](std::int32_t status, const char* message, void* userContext) {
        inboxOf(userContext).deliver([&] { return OperationFailure{status, message}; });
    };
    callbacks.captureCallback = [](const ridgeCaptureResult* result, void* userContext) {
        inboxOf(userContext).deliver([&] { return copyOf(*result); });
    };
    callbacks.eventCallback = [](void* userContext, std::uint32_t elapsedMilliseconds) {
        inboxOf(userContext).deliver([&] { return FingerEvent{elapsedMilliseconds}; });
    };
    return callbacks;
}

ridgeCsrCallback OperationInbox::csrCallback() {
    return [](const std::uint8_t* request, std::uint32_t size, void* userContext) {
        inboxOf(userContext).deliver([&] { return SigningRequest{copyOf(request, size)}; });
    };
}

void OperationInbox::post(OperationMessage message) {
    {
        const std::lock_guard lock(mutex);
        messages.push_back(std::move(message));
    }
    arrived.notify_one();
}

std::optional<OperationMessage> OperationInbox::wait(std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex);
    arrived.wait_for(lock, patience, [this] { return fault || !messages.empty(); });
    if (fault) {
        std::rethrow_exception(fault);
    }
    if (messages.empty()) {
        return std::nullopt;
    }
    OperationMessage message = std::move(messages.front());
    messages.pop_front();
    return message;
}

template <typename MakeMessage>
void OperationInbox::deliver(const MakeMessage& makeMessage) noexcept {
    try {
        post(makeMessage());
    } catch (...) {
        {
            const std::lock_guard lock(mutex);
            fault = std::current_exception();
        }
        arrived.notify_one();
    }
}

} // namespace ridge::tool
