#include "slimlock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <thread>

using ridge::SlimCondition;
using ridge::SlimMutex;
using std::chrono::steady_clock;

TEST(SlimMutex, TakenByTwoThreads_KeepsTheirStepsApart) {
    constexpr int steps = 100'000;
    SlimMutex mutex;
    int sum = 0;
    const auto add = [&] {
        for (int step = 0; step < steps; ++step) {
            const std::lock_guard lock(mutex);
            ++sum;
        }
    };
    std::thread other(add);
    add();
    other.join();
    EXPECT_EQ(sum, 2 * steps);
}

TEST(SlimCondition, Notified_LooksAgain) {
    SlimMutex mutex;
    SlimCondition changed;
    int turn = 0;
    const auto pass = [&](int own) {
        for (int round = 0; round < 1000; ++round) {
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return turn % 2 == own; });
            ++turn;
            lock.unlock();
            changed.notify_one();
        }
    };
    std::thread other(pass, 1);
    pass(0);
    other.join();
    EXPECT_EQ(turn, 2000);
}

TEST(SlimCondition, AllNotified_EndsEachWait) {
    SlimMutex mutex;
    SlimCondition changed;
    int waiting = 0;
    bool open = false;
    const auto wait = [&] {
        std::unique_lock lock(mutex);
        ++waiting;
        changed.notify_all();
        changed.wait(lock, [&] { return open; });
        --waiting;
    };
    std::thread first(wait);
    std::thread second(wait);
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return waiting == 2; });
        open = true;
    }
    changed.notify_all();
    first.join();
    second.join();
    EXPECT_EQ(waiting, 0);
}

TEST(SlimCondition, DeadlineAlreadyPast_IsNotWaitedFor) {
    SlimMutex mutex;
    SlimCondition changed;
    std::unique_lock lock(mutex);
    EXPECT_FALSE(changed.wait_until(lock, steady_clock::time_point::min(), [] { return false; }));
    EXPECT_TRUE(changed.wait_until(lock, steady_clock::time_point::min(), [] { return true; }));
    EXPECT_TRUE(lock.owns_lock());
}

TEST(SlimCondition, DeadlineThatPasses_EndsTheWaitAndNotEarlier) {
    SlimMutex mutex;
    SlimCondition changed;
    std::unique_lock lock(mutex);
    const auto deadline = steady_clock::now() + std::chrono::microseconds(20'500);
    EXPECT_FALSE(changed.wait_until(lock, deadline, [] { return false; }));
    EXPECT_GE(steady_clock::now(), deadline);
}

TEST(SlimCondition, DeadlineFarAway_IsWaitedForUntilTheNotification) {
    SlimMutex mutex;
    SlimCondition changed;
    bool waiting = false;
    bool open = false;
    std::thread other([&] {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return waiting; });
        open = true;
        lock.unlock();
        changed.notify_one();
    });
    std::unique_lock lock(mutex);
    waiting = true;
    changed.notify_one();
    EXPECT_TRUE(changed.wait_until(lock, steady_clock::now() + std::chrono::hours(24 * 365),
                                   [&] { return open; }));
    lock.unlock();
    other.join();
}
