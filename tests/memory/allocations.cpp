#include "allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace ridge::test {
namespace {

thread_local std::size_t allocations = 0;
/// How many allocations to go until one is refused; 0 when none is.
thread_local std::size_t countdownOfThread = 0;
std::atomic<std::size_t> countdownOfAll{0};

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
    return countsDownToRefusal() ? nullptr : std::malloc(size == 0 ? 1 : size);
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
    std::free(memory);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
