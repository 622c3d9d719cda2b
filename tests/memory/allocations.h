#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace ridge::test {

enum class Threads { current, all };

enum class Extent { once, fromThenOn };

/// Makes an allocation of the library's code fail: the first, second, ... after the construction.
/// One at a time.
class AllocationRefusal {
public:
    explicit AllocationRefusal(std::size_t number, Threads threads = Threads::current,
                               Extent extent = Extent::once);
    ~AllocationRefusal();

    AllocationRefusal(const AllocationRefusal&) = delete;
    AllocationRefusal& operator=(const AllocationRefusal&) = delete;

    /// Whether there were as many allocations. For the current thread, ask on that thread.
    [[nodiscard]] bool happened() const;

    /// How many allocations there were, refused or not.
    [[nodiscard]] std::size_t count() const;

    /// Whether one was refused to the thread of a line's port.
    [[nodiscard]] bool struckPortThread() const;

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

/// The blocks that the library's code allocates while the object lives.
class LibraryBlocks {
public:
    LibraryBlocks();

    /// Waits until all of them have been given back: a thread of the library's may have some until
    /// its very end. False when some are still there long after that.
    [[nodiscard]] bool areGivenBack() const;

private:
    std::size_t before;
};

} // namespace ridge::test
