#include "taskthread.h"

#include <utility>

namespace ridge::preview {

TaskThread::TaskThread() : thread([this] { run(); }) {}

TaskThread::~TaskThread() {
    {
        const std::lock_guard lock(mutex);
        ending = true;
    }
    changed.notify_one();
    thread.join();
}

void TaskThread::post(std::function<void()> task) {
    {
        const std::lock_guard lock(mutex);
        tasks.push_back(std::move(task));
    }
    changed.notify_one();
}

void TaskThread::run() {
    std::unique_lock lock(mutex);
    while (true) {
        changed.wait(lock, [this] { return ending || !tasks.empty(); });
        if (tasks.empty()) {
            return;
        }
        const std::function<void()> task = std::move(tasks.front());
        tasks.pop_front();
        lock.unlock();
        task();
        lock.lock();
    }
}

} // namespace ridge::preview
