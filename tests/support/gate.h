#pragma once

#include <condition_variable>
#include <mutex>

namespace ridge::test {

/// Holds threads back until it is opened, for good.
class Gate {
public:
    void open() {
        // Under the lock: whoever has passed may destroy the gate at once.
        const std::lock_guard lock(mutex);
        opened = true;
        changed.notify_all();
    }

    void pass() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return opened; });
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool opened = false;
};

} // namespace ridge::test
