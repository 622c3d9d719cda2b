#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace ridge::preview {

/// A thread that does what it is given, one task after the other.
class TaskThread {
public:
    TaskThread();
    /// Waits until everything that was given has been done.
    ~TaskThread();

    TaskThread(const TaskThread&) = delete;
    TaskThread& operator=(const TaskThread&) = delete;

    /// Any thread; does not wait for the task.
    void post(std::function<void()> task);

private:
    void run();

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::function<void()>> tasks;
    bool ending = false;
    std::thread thread;
};

} // namespace ridge::preview
