#include "interruption.h"

#include "commanderror.h"

#include <utility>

namespace ridge::tool {

Interruption::Subscription::Subscription(Interruption& source, std::function<void()> wake)
    : interruption(source) {
    const std::lock_guard lock(interruption.mutex);
    interruption.subscriber = std::move(wake);
    if (interruption.wanted) {
        interruption.subscriber();
    }
}

Interruption::Subscription::~Subscription() {
    const std::lock_guard lock(interruption.mutex);
    interruption.subscriber = nullptr;
}

void Interruption::request() {
    const std::lock_guard lock(mutex);
    wanted = true;
    if (subscriber) {
        subscriber();
    }
}

bool Interruption::requested() const {
    const std::lock_guard lock(mutex);
    return wanted;
}

void Interruption::throwIfRequested() const {
    if (requested()) {
        throw Interrupted();
    }
}

} // namespace ridge::tool
