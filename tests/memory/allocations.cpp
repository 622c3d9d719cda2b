#include "allocations.h"

#include "codescope.h"
#include "memoryline.h"
#include "patience.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace ridge::test {
namespace {

/// Which allocation is refused.
class Refusal {
public:
    void begin(std::size_t number, Extent itsExtent) {
        counted = 0;
        portThreadStruck = false;
        extent = itsExtent;
        refused = number;
    }

    void end() { refused = 0; }

    [[nodiscard]] bool happened() const { return counted >= refused; }
    [[nodiscard]] std::size_t count() const { return counted; }
    [[nodiscard]] bool struckPortThread() const { return portThreadStruck; }

    /// Counts an allocation; true when it is to fail.
    bool strikes() {
        const std::size_t number = refused;
        if (number == 0) {
            return false;
        }
        const std::size_t place = ++counted;
        if (place != number && (place < number || extent == Extent::once)) {
            return false;
        }
        if (MemoryLine::isPortThread()) {
            portThreadStruck = true;
        }
        return true;
    }

private:
    /// 0: none.
    std::atomic<std::size_t> refused{0};
    std::atomic<std::size_t> counted{0};
    std::atomic<bool> portThreadStruck{false};
    std::atomic<Extent> extent{Extent::once};
};

thread_local std::size_t allocations = 0;
constinit thread_local Refusal refusalOfThread;
constinit Refusal refusalOfAll;
std::atomic<std::size_t> libraryBlocks{0};

Refusal& refusalOf(Threads threads) {
    return threads == Threads::current ? refusalOfThread : refusalOfAll;
}

/// Stands before each block.
struct alignas(std::max_align_t) Header {
    std::size_t size;
    bool ofLibrary;
};

thread_local bool keepsFreedMemory = false;
/// The blocks that were given back, one behind the other.
std::array<std::uint8_t, 1 << 20> freedBytes;
std::size_t freedCount = 0;

void keepFreed(const void* memory, std::size_t size) {
    const std::size_t kept = std::min(size, freedBytes.size() - freedCount);
    std::memcpy(freedBytes.data() + freedCount, memory, kept);
    freedCount += kept;
}

void* allocate(std::size_t size) noexcept {
    ++allocations;
    const bool ofLibrary = CodeScope::current() == Code::library;
    if (ofLibrary && (refusalOfThread.strikes() || refusalOfAll.strikes())) {
        return nullptr;
    }
    void* const block = std::malloc(sizeof(Header) + size);
    if (block == nullptr) {
        return nullptr;
    }
    libraryBlocks += ofLibrary ? 1U : 0U;
    Header* const header = new (block) Header{size, ofLibrary};
    return header + 1;
}

void release(void* memory) noexcept {
    if (memory == nullptr) {
        return;
    }
    Header* const header = static_cast<Header*>(memory) - 1;
    if (keepsFreedMemory) {
        keepFreed(memory, header->size);
    }
    libraryBlocks -= header->ofLibrary ? 1U : 0U;
    std::free(header);
}

void* allocateOrThrow(std::size_t size) {
    void* const memory = allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

AllocationRefusal::AllocationRefusal(std::size_t number, Threads threads, Extent extent)
    : scope(threads) {
    refusalOf(scope).begin(number, extent);
}

AllocationRefusal::~AllocationRefusal() {
    refusalOf(scope).end();
}

bool AllocationRefusal::happened() const {
    return refusalOf(scope).happened();
}

std::size_t AllocationRefusal::count() const {
    return refusalOf(scope).count();
}

bool AllocationRefusal::struckPortThread() const {
    return refusalOf(scope).struckPortThread();
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

LibraryBlocks::LibraryBlocks() : before(libraryBlocks) {}

bool LibraryBlocks::areGivenBack() const {
    // Where a program makes the clock jump, it does so for a command that waits: no more by now.
    return comesAbout([this] { return libraryBlocks == before; });
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
