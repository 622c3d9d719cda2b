// From the read of an answer's last byte to the caller: two hand-offs between threads.

#include "baton.h"
#include "handoffhost.h"
#include "importtable.h"
#include "libraryhost.h"
#include "rows.h"
#include "statistics.h"

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>

#include <windows.h>

namespace ridge::bench {
namespace {

constexpr int roundCount = 15;
constexpr int commandsPerRound = 40;

std::atomic<Time::rep> answerRead{0};

/// Stands in for the library's import.
BOOL WINAPI notingReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD count,
                           LPOVERLAPPED overlapped) {
    const BOOL done = ReadFile(file, buffer, size, count, overlapped);
    if (done != 0 && *count != 0) {
        answerRead = performanceTime().count();
    }
    return done;
}

class NotedReads {
public:
    NotedReads() : library(GetModuleHandleA("ridge-sdk.dll")) {
        if (library == nullptr) {
            throw std::runtime_error("the library is not there");
        }
        direct(&notingReadFile);
    }
    ~NotedReads() { direct(&ReadFile); }

    NotedReads(const NotedReads&) = delete;
    NotedReads& operator=(const NotedReads&) = delete;

private:
    void direct(decltype(&ReadFile) function) const {
        simulator::replaceImport(library, "ReadFile", reinterpret_cast<void*>(function));
    }

    HMODULE library;
};

/// Two hand-offs with nothing else about, each to a thread that waits.
template <typename Baton>
double medianOfHandOffs() {
    constexpr int handOffs = 300;
    Baton started;
    Baton toSecond;
    Baton toThird;
    std::atomic<Time::rep> start{0};
    std::thread first([&] {
        for (int number = 0; number < handOffs; ++number) {
            started.await();
            // The others are asleep by then.
            Sleep(1);
            start = performanceTime().count();
            toSecond.pass();
        }
    });
    std::thread second([&] {
        for (int number = 0; number < handOffs; ++number) {
            toSecond.await();
            toThird.pass();
        }
    });
    std::vector<double> times;
    for (int number = 0; number < handOffs; ++number) {
        started.pass();
        toThird.await();
        times.push_back(microseconds(performanceTime() - Time(start)));
    }
    first.join();
    second.join();
    return median(times);
}

} // namespace

std::vector<Row> measureHandOffs(Road& road) {
    std::vector<Row> rows{
        report("two hand-offs alone, SRWLOCK and CONDITION_VARIABLE", medianOfHandOffs<LockBaton>(),
               "us"),
        report("two hand-offs alone, WaitOnAddress", medianOfHandOffs<AddressBaton>(), "us"),
        report("two hand-offs alone, events", medianOfHandOffs<EventBaton>(), "us"),
        report("two hand-offs alone, the standard library's mutex and condition variable",
               medianOfHandOffs<StandardBaton>(), "us")};
    std::vector<double> ours;
    std::vector<double> byLock;
    std::vector<double> byAddress;
    std::vector<double> byStandard;
    const NotedReads noted;
    LibraryHost library(road.scanners.portName(firstStandard));
    HandOffHost<LockBaton> lockHost(road.scanners.portName(firstStandard + 1));
    HandOffHost<AddressBaton> addressHost(road.scanners.portName(firstStandard + 2));
    HandOffHost<StandardBaton> standardHost(road.scanners.portName(firstStandard + 3));
    for (int round = 0; round < roundCount; ++round) {
        std::vector<double> libraryTimes;
        std::vector<double> lockTimes;
        std::vector<double> addressTimes;
        std::vector<double> standardTimes;
        for (int number = 0; number < commandsPerRound; ++number) {
            library.setSettings();
            libraryTimes.push_back(microseconds(performanceTime() - Time(answerRead)));
            lockTimes.push_back(microseconds(lockHost.command()));
            addressTimes.push_back(microseconds(addressHost.command()));
            standardTimes.push_back(microseconds(standardHost.command()));
        }
        ours.push_back(median(libraryTimes));
        byLock.push_back(median(lockTimes));
        byAddress.push_back(median(addressTimes));
        byStandard.push_back(median(standardTimes));
    }
    const auto over = [&](const std::string& primitive, const std::vector<double>& reference) {
        return comparison("answer's last byte read to the caller, / two hand-offs by " + primitive,
                          ours, reference, "us");
    };
    const bool isAddressFaster = median(byAddress) < median(byLock);
    Row address = over(isAddressFaster ? "WaitOnAddress, the fastest" : "WaitOnAddress", byAddress);
    Row lock = over(isAddressFaster ? "SRWLOCK" : "SRWLOCK, the fastest", byLock);
    Row& fastest = isAddressFaster ? address : lock;
    fastest.target = "<= 1.5";
    fastest.stretch = "<= 1.15";
    rows.insert(rows.end(), {lock, address, over("the standard library", byStandard)});
    return rows;
}

} // namespace ridge::bench
