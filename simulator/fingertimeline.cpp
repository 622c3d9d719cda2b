#include "fingertimeline.h"

namespace ridge::simulator {

FingerTimeline::FingerTimeline(Time start, const FingerBehaviour& behaviour) {
    if (!behaviour.delay) {
        return;
    }
    Time moment = start + *behaviour.delay;
    for (std::uint32_t lift = 0; lift < behaviour.earlyLifts; ++lift) {
        events.push_back(moment);
        events.push_back(moment + behaviour.touch);
        moment += 2 * behaviour.touch;
    }
    events.push_back(moment);
    ready = moment + behaviour.acquisition;
}

bool FingerTimeline::takeEvent(Time now) {
    if (events.empty() || events.front() > now) {
        return false;
    }
    events.pop_front();
    return true;
}

bool FingerTimeline::imageReady(Time now) const {
    return ready && *ready <= now;
}

std::optional<Time> FingerTimeline::nextEvent() const {
    return events.empty() ? std::nullopt : std::optional(events.front());
}

} // namespace ridge::simulator
