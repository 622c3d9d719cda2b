#include "previewstate.h"

#include "ridge-sdk.h"

namespace ridge::preview {

bool PreviewState::allows(Command command) const {
    switch (command) {
    case Command::refresh:
        return phase != Phase::closing;
    case Command::choose:
    case Command::connect:
        return phase == Phase::disconnected;
    case Command::disconnect:
        return phase == Phase::ready || operationRuns();
    case Command::capture:
    case Command::stream:
    case Command::assistedCapture:
        return phase == Phase::ready;
    case Command::accept:
        return phase == Phase::judging && verdict == Verdict::awaited;
    case Command::reject:
        return phase == Phase::judging &&
               (verdict == Verdict::awaited || verdict == Verdict::notShown);
    case Command::stop:
        return operationRuns();
    }
    return false;
}

bool PreviewState::operationRuns() const {
    return phase == Phase::capturing || phase == Phase::streaming || phase == Phase::judging;
}

bool PreviewState::survives(std::int32_t status, const std::string& text) const {
    const bool showsImages =
        phase == Phase::streaming || (phase == Phase::judging && verdict != Verdict::accepted);
    return showsImages && status == RIDGE_MALFORMED_DATA && text == "Invalid capture data";
}

std::string PreviewState::description() const {
    switch (phase) {
    case Phase::disconnected:
        return "Not connected";
    case Phase::connecting:
        return "Connecting...";
    case Phase::ready:
        return "Connected";
    case Phase::capturing:
        return "Capturing: place a finger on the scanner";
    case Phase::streaming:
        return "Streaming";
    case Phase::judging:
        switch (verdict) {
        case Verdict::none:
            return "Assisted capture: waiting for an image";
        case Verdict::awaited:
            return "Assisted capture: accept or reject the image";
        case Verdict::notShown:
            return "Assisted capture: the image is broken, reject it for another";
        case Verdict::accepted:
            return "Assisted capture: fetching the accepted image";
        }
        break;
    case Phase::stopping:
        return "Stopping...";
    case Phase::disconnecting:
        return "Disconnecting...";
    case Phase::closing:
        return "Closing...";
    }
    return {};
}

} // namespace ridge::preview
