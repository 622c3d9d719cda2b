#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

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

/// Keeps what is in the memory that the calling thread gives back while the object lives. One at a
/// time.
class FreedMemory {
public:
    FreedMemory();
    ~FreedMemory();

    FreedMemory(const FreedMemory&) = delete;
    FreedMemory& operator=(const FreedMemory&) = delete;

    /// Whether a block that was given back held these bytes one after the other.
    [[nodiscard]] static bool held(std::span<const std::uint8_t> bytes);
};

/// How many allocations the calling thread has made so far.
std::size_t allocationsOfThisThread();

} // namespace ridge::test
