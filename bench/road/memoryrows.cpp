// The memory of a session.

#include "libraryhost.h"
#include "rows.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <stdexcept>

#include <windows.h>

#include <tlhelp32.h>
#include <winternl.h>

namespace ridge::bench {
namespace {

constexpr double kibibyte = 1024;

std::uint64_t heapBytes() {
    constexpr DWORD mostHeaps = 64;
    std::vector<HANDLE> heaps(mostHeaps);
    const DWORD heapCount = GetProcessHeaps(mostHeaps, heaps.data());
    heaps.resize(std::min(heapCount, mostHeaps));
    std::uint64_t bytes = 0;
    for (const HANDLE heap : heaps) {
        PROCESS_HEAP_ENTRY entry{};
        HeapLock(heap);
        while (HeapWalk(heap, &entry) != 0) {
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) {
                bytes += entry.cbData;
            }
        }
        HeapUnlock(heap);
    }
    return bytes;
}

std::set<DWORD> threads() {
    const simulator::ScopedHandle snapshot =
        simulator::validHandle(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    std::set<DWORD> result;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL found = Thread32First(snapshot.get(), &entry); found != 0;
         found = Thread32Next(snapshot.get(), &entry)) {
        if (entry.th32OwnerProcessID == GetCurrentProcessId()) {
            result.insert(entry.th32ThreadID);
        }
    }
    return result;
}

/// What the query for a thread's basic information gives.
struct ThreadInformation {
    LONG exitStatus;
    NT_TIB* block;
    CLIENT_ID client;
    ULONG_PTR affinity;
    LONG priority;
    LONG basePriority;
};

bool isUntouched(const std::byte* bytes, std::size_t size) {
    return std::all_of(bytes, bytes + size, [](std::byte byte) { return byte == std::byte{0}; });
}

/// What has been touched of a thread's stack, in whole pages. Some systems reserve stacks page by
/// page as they grow, others at once; what nobody has touched holds zeros.
std::uint64_t usedStack(DWORD thread) {
    const simulator::ScopedHandle handle(OpenThread(THREAD_QUERY_INFORMATION, FALSE, thread));
    ThreadInformation information{};
    constexpr auto basicInformation = static_cast<THREADINFOCLASS>(0);
    if (!handle || NtQueryInformationThread(handle.get(), basicInformation, &information,
                                            sizeof(information), nullptr) != 0) {
        throw std::runtime_error("a thread's stack cannot be found");
    }
    constexpr std::uintptr_t pageSize = 4096;
    const auto base = reinterpret_cast<std::uintptr_t>(information.block->StackBase);
    auto lowest = reinterpret_cast<std::uintptr_t>(information.block->StackLimit);
    while (lowest < base && isUntouched(reinterpret_cast<const std::byte*>(lowest), pageSize)) {
        lowest += pageSize;
    }
    return base - lowest;
}

} // namespace

std::vector<Row> measureMemory(Road& road) {
    const std::string portName = road.scanners.portName(firstStandard);
    LibraryHost host(portName);
    // What the first session leaves to all later ones is there.
    host.disconnect();
    const std::uint64_t heapBefore = heapBytes();
    const std::set<DWORD> threadsBefore = threads();
    host.connect(portName);
    const std::uint64_t heap = heapBytes() - heapBefore;
    std::uint64_t stacks = 0;
    for (const DWORD thread : threads()) {
        stacks += threadsBefore.contains(thread) ? 0 : usedStack(thread);
    }
    // Six of the port's, one of the data link's.
    constexpr std::uint64_t buffers = 6 * 30000 + 10005;
    Row heapRow = report("connected session: heap", static_cast<double>(heap) / kibibyte, "KiB");
    heapRow.reference = static_cast<double>(buffers) / kibibyte;
    const Row stackRow = report("connected session: what its threads have used of their stacks",
                                static_cast<double>(stacks) / kibibyte, "KiB");
    Row rest = report(
        "connected session: heap and stacks, without the buffers",
        (static_cast<double>(heap + stacks) - static_cast<double>(buffers)) / kibibyte, "KiB");
    rest.ratio = rest.ours;
    rest.ratioOf = "ours itself";
    rest.target = "<= 64";
    return {heapRow, stackRow, rest};
}

} // namespace ridge::bench
