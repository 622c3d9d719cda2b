#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace ridge {

/// Some thread libraries allocate memory when a mutex is locked for the first time, or a condition
/// variable first waited for. This mutex has that behind it: its construction fails, and locking it
/// does not.
class PreparedMutex : public std::mutex {
public:
    PreparedMutex() {
        lock();
        unlock();
    }
};

/// The same for a condition variable. It cannot tell that it found no memory; then it looks for it
/// again when it is waited for.
class PreparedCondition : public std::condition_variable {
public:
    PreparedCondition() {
        std::mutex mutex;
        std::unique_lock lock(mutex);
        wait_for(lock, std::chrono::seconds(0));
    }
};

} // namespace ridge
