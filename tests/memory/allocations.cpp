#include "allocations.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace ridge::test {
namespace {

thread_local std::size_t allocations = 0;
/// How many allocations to go until one is refused; 0 when none is.
thread_local std::size_t countdownOfThread = 0;
std::atomic<std::size_t> countdownOfAll{0};

/// Before each block stands its size.
constexpr std::size_t headerSize = alignof(std::max_align_t);
static_assert(headerSize >= sizeof(std::size_t));

thread_local bool keepsFreedMemory = false;
/// The blocks that were given back, one behind the other.
std::array<std::uint8_t, 1 << 20> freedBytes;
std::size_t freedCount = 0;

void keepFreed(const void* memory, std::size_t size) {
    const std::size_t kept = std::min(size, freedBytes.size() - freedCount);
    std::memcpy(freedBytes.data() + freedCount, memory, kept);
    freedCount += kept;
}

bool countsDownToRefusal() {
    ++allocations;
    if (countdownOfThread != 0 && --countdownOfThread == 0) {
        return true;
    }
    std::size_t left = countdownOfAll.load();
    while (left != 0 && !countdownOfAll.compare_exchange_weak(left, left - 1)) {
    }
    return left == 1;
}

void* allocate(std::size_t size) noexcept {
    void* const block = countsDownToRefusal() ? nullptr : std::malloc(headerSize + size);
    if (block == nullptr) {
        return nullptr;
    }
    std::memcpy(block, &size, sizeof(size));
    return static_cast<std::uint8_t*>(block) + headerSize;
}

void release(void* memory) noexcept {
    if (memory == nullptr) {
        return;
    }
    void* const block = static_cast<std::uint8_t*>(memory) - headerSize;
    if (keepsFreedMemory) {
        std::size_t size = 0;
        std::memcpy(&size, block, sizeof(size));
        keepFreed(memory, size);
    }
    std::free(block);
}

void* allocateOrThrow(std::size_t size) {
    void* const memory = allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

AllocationRefusal::AllocationRefusal(std::size_t number, Threads threads) : scope(threads) {
    if (scope == Threads::current) {
        countdownOfThread = number;
    } else {
        countdownOfAll = number;
    }
}

AllocationRefusal::~AllocationRefusal() {
    if (scope == Threads::current) {
        countdownOfThread = 0;
    } else {
        countdownOfAll = 0;
    }
}

bool AllocationRefusal::happened() const {
    return (scope == Threads::current ? countdownOfThread : countdownOfAll.load()) == 0;
}

FreedMemory::FreedMemory() {
    freedCount = 0;
    keepsFreedMemory = true;
}

FreedMemory::~FreedMemory() {
    keepsFreedMemory = false;
}

bool FreedMemory::held(std::span<const std::uint8_t> bytes) {
    const auto end = freedBytes.begin() + static_cast<std::ptrdiff_t>(freedCount);
    return std::search(freedBytes.begin(), end, bytes.begin(), bytes.end()) != end;
}

std::size_t allocationsOfThisThread() {
    return allocations;
}

} // namespace ridge::test

void* operator new(std::size_t size) {
    return ridge::test::allocateOrThrow(size);
}

void* operator new[](std::size_t size) {
    return ridge::test::allocateOrThrow(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return ridge::test::allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return ridge::test::allocate(size);
}

void operator delete(void* memory) noexcept {
    ridge::test::release(memory);
}

void operator delete[](void* memory) noexcept {
    ridge::test::release(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    ridge::test::release(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    ridge::test::release(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    ridge::test::release(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    ridge::test::release(memory);
}
