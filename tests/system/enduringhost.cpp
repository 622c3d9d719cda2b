// A host that connects, captures and disconnects again and again: enduring-host PORT ROUNDS
// Prints what it holds after the first ten rounds and after the last.

#include "ridge-sdk.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <windows.h>

#include <tlhelp32.h>
#include <winternl.h>

namespace {

constexpr int roundsToWarmUp = 10;
constexpr ridgeCaptureParameters anyFinger{0, 10000, 1};

std::string typeOf(HANDLE handle) {
    constexpr std::size_t enoughForAnyName = 1024;
    std::array<std::byte, enoughForAnyName> buffer{};
    // The type's name comes first, and points into the buffer.
    auto* const information = reinterpret_cast<UNICODE_STRING*>(buffer.data());
    if (NtQueryObject(handle, ObjectTypeInformation, buffer.data(), buffer.size(), nullptr) != 0) {
        return "unknown";
    }
    const std::wstring_view name(information->Buffer, information->Length / sizeof(wchar_t));
    return {name.begin(), name.end()};
}

/// The system's own count is not to be had everywhere, and does not tell the types. Handles are
/// given out from below: with none in the last part of the range, there is none beyond it.
std::map<std::string, std::uint32_t> countHandles() {
    constexpr std::uintptr_t step = 4;
    constexpr std::uintptr_t beyondAll = 0x4000;
    constexpr std::uintptr_t lastPart = 0x3000;
    std::map<std::string, std::uint32_t> counts;
    for (std::uintptr_t value = step; value < beyondAll; value += step) {
        const auto handle = reinterpret_cast<HANDLE>(value);
        DWORD flags = 0;
        if (GetHandleInformation(handle, &flags) != 0) {
            if (value >= lastPart) {
                throw std::runtime_error("there are more handles than can be counted");
            }
            ++counts[typeOf(handle)];
        }
    }
    return counts;
}

std::uint32_t countThreads() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE) {
        throw std::runtime_error("the threads cannot be counted");
    }
    std::uint32_t count = 0;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL found = Thread32First(snapshot, &entry); found != 0;
         found = Thread32Next(snapshot, &entry)) {
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1U : 0U;
    }
    CloseHandle(snapshot);
    return count;
}

struct HeapUse {
    std::uint32_t blocks = 0;
    std::uint64_t bytes = 0;
};

HeapUse countHeapUse() {
    constexpr DWORD mostHeaps = 64;
    std::vector<HANDLE> heaps(mostHeaps);
    const DWORD heapCount = GetProcessHeaps(mostHeaps, heaps.data());
    if (heapCount > mostHeaps) {
        throw std::runtime_error("there are more heaps than can be counted");
    }
    heaps.resize(heapCount);
    HeapUse use;
    for (const HANDLE heap : heaps) {
        PROCESS_HEAP_ENTRY entry{};
        HeapLock(heap);
        while (HeapWalk(heap, &entry) != 0) {
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) {
                ++use.blocks;
                use.bytes += entry.cbData;
            }
        }
        HeapUnlock(heap);
    }
    return use;
}

/// A thread whose work is done may still be on its way out: it is given a minute.
void awaitThreadsOfTheLibrary() {
    constexpr ULONGLONG patienceMs = 60000;
    const ULONGLONG start = GetTickCount64();
    while (countThreads() > 1) {
        if (GetTickCount64() - start > patienceMs) {
            throw std::runtime_error("a thread of the library does not end");
        }
        SwitchToThread();
    }
}

struct Hearing {
    HANDLE done = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    bool failed = false;
};

void onError(std::int32_t status, const char* message, void* userContext) {
    std::cout << status << " " << message << std::endl;
    auto& hearing = *static_cast<Hearing*>(userContext);
    hearing.failed = true;
    SetEvent(hearing.done);
}

void onCapture(const ridgeCaptureResult*, void* userContext) {
    SetEvent(static_cast<Hearing*>(userContext)->done);
}

void captureOnce(const std::string& port, Hearing& hearing) {
    const ridgeCaptureCallbacks callbacks{onError, onCapture, nullptr};
    ridgeDeviceContext* const context = ridgeCreateDeviceContext();
    if (ridgeConnectCOM(port.c_str(), context) != RIDGE_SUCCESS ||
        ridgeStartCapture(context, &anyFinger, nullptr, &callbacks, &hearing) != RIDGE_SUCCESS) {
        throw std::runtime_error(ridgeGetLastErrorDescription(context));
    }
    WaitForSingleObject(hearing.done, INFINITE);
    ridgeDisconnect(context);
    ridgeFreeDeviceContext(context);
    if (hearing.failed) {
        throw std::runtime_error("the capture failed");
    }
}

void report(int round) {
    awaitThreadsOfTheLibrary();
    std::map<std::string, std::uint32_t> handles = countHandles();
    std::cout << round << ": " << handles["Event"] << " events" << std::endl;
    handles.erase("Event");
    const HeapUse use = countHeapUse();
    std::cout << round << ": " << countThreads() << " threads, " << use.blocks << " blocks of "
              << use.bytes << " bytes";
    for (const auto& [type, count] : handles) {
        std::cout << ", " << count << " handles of type " << type;
    }
    std::cout << std::endl;
}

} // namespace

int main(int argumentCount, char** arguments) {
    try {
        if (argumentCount != 3) {
            throw std::runtime_error("enduring-host PORT ROUNDS");
        }
        const int rounds = std::stoi(arguments[2]);
        Hearing hearing;
        for (int round = 1; round <= rounds; ++round) {
            captureOnce(arguments[1], hearing);
            if (round == roundsToWarmUp || round == rounds) {
                report(round);
            }
        }
        return 0;
    } catch (const std::exception& failure) {
        std::cout << failure.what() << std::endl;
        return 2;
    }
}
