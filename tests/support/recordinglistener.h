#pragma once

#include "capturelistener.h"
#include "hextext.h"
#include "journal.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace ridge::test {

/// Keeps what a worker reports, as texts, and lets a test act during a call.
class RecordingListener final : public CaptureListener {
public:
    void onError(std::int32_t code, const std::string& message) override {
        note("error " + std::to_string(code) + " " + message, duringError);
    }

    bool isEventEnabled() override {
        if (duringIsEventEnabled) {
            duringIsEventEnabled();
        }
        return eventsEnabled;
    }

    void onCaptureComplete(bool flagA, bool flagB, bool flagC, std::uint16_t width,
                           std::uint16_t height, const std::vector<std::uint8_t>& image,
                           std::uint8_t extraValue,
                           const std::vector<std::uint8_t>& trailer) override {
        const auto digit = [](bool flag) { return flag ? '1' : '0'; };
        note(std::string("image ABC=") + digit(flagA) + digit(flagB) + digit(flagC) + " " +
                 std::to_string(width) + "x" + std::to_string(height) + " [" + hexText(image) +
                 "] extra=" + std::to_string(extraValue) + " trailer=[" + hexText(trailer) + "]",
             duringComplete);
    }

    void onCaptureEvent(std::uint32_t elapsedMs) override {
        note("event " + std::to_string(elapsedMs), duringEvent);
    }

    Journal events;
    bool eventsEnabled = true;
    /// Run during the calls, on the worker's thread, after the call is noted; they may throw.
    std::function<void()> duringError;
    std::function<void()> duringIsEventEnabled;
    std::function<void()> duringComplete;
    std::function<void()> duringEvent;

private:
    void note(std::string event, const std::function<void()>& action) {
        events.add(std::move(event));
        if (action) {
            action();
        }
    }
};

} // namespace ridge::test
