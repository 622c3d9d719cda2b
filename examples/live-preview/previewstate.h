#pragma once

#include <cstdint>
#include <string>

namespace ridge::preview {

enum class Command {
    refresh,
    choose,
    connect,
    disconnect,
    capture,
    stream,
    assistedCapture,
    accept,
    reject,
    stop
};

enum class Phase {
    disconnected,
    connecting,
    ready,
    capturing,
    streaming,
    judging, ///< an assisted capture
    stopping,
    disconnecting,
    closing
};

enum class Verdict {
    none,     ///< there is no image to judge
    awaited,  ///< an image is shown
    notShown, ///< an image came that makes no sense: it can only be rejected
    accepted  ///< the next image is the capture
};

/// What goes on, as far as the window knows, and what may be done now.
struct PreviewState {
    Phase phase = Phase::disconnected;
    Verdict verdict = Verdict::none;

    [[nodiscard]] bool allows(Command command) const;
    [[nodiscard]] bool operationRuns() const;
    /// A stream and an assisted capture go on after an image that makes no sense; every other
    /// failure ends them.
    [[nodiscard]] bool survives(std::int32_t status, const std::string& text) const;
    [[nodiscard]] std::string description() const;
};

} // namespace ridge::preview
