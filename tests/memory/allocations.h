#pragma once

#include <cstddef>

namespace ridge::test {

enum class Threads { current, all };

/// Makes one allocation fail: the first, second, ... after the construction.
class AllocationRefusal {
public:
    explicit AllocationRefusal(std::size_t number, Threads threads = Threads::current);
    ~AllocationRefusal();

    AllocationRefusal(const AllocationRefusal&) = delete;
    AllocationRefusal& operator=(const AllocationRefusal&) = delete;

    /// Whether there were as many allocations. For the current thread, ask on that thread.
    [[nodiscard]] bool happened() const;

private:
    Threads scope;
};

/// How many allocations the calling thread has made so far.
std::size_t allocationsOfThisThread();

} // namespace ridge::test
