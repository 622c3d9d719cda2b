#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace ridge::test {

/// What happened during a test, in order and from any thread. Whoever waited may destroy it at
/// once: notifications are given under the lock.
class Journal {
public:
    void add(std::string entry) {
        const std::lock_guard lock(mutex);
        list.push_back(std::move(entry));
        changed.notify_all();
    }

    /// As `add`, but only once in a row: for what goes on until something else happens.
    void addOnce(std::string entry) {
        const std::lock_guard lock(mutex);
        if (!list.empty() && list.back() == entry) {
            return;
        }
        list.push_back(std::move(entry));
        changed.notify_all();
    }

    [[nodiscard]] std::vector<std::string> entries() const {
        const std::lock_guard lock(mutex);
        return list;
    }

    [[nodiscard]] std::size_t count(const std::string& entry) const {
        const std::lock_guard lock(mutex);
        return countLocked(entry);
    }

    void clear() {
        const std::lock_guard lock(mutex);
        list.clear();
    }

    /// Waits until the entry stands in the journal, as often as told.
    void waitFor(const std::string& entry, std::size_t times = 1) const {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return countLocked(entry) >= times; });
    }

private:
    [[nodiscard]] std::size_t countLocked(const std::string& entry) const {
        return static_cast<std::size_t>(std::count(list.begin(), list.end(), entry));
    }

    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::vector<std::string> list;
};

} // namespace ridge::test
