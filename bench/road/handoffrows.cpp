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
    std::vector<double> reference;
    std::vector<double> standard;
    const NotedReads noted;
    LibraryHost library(road.scanners.portName(firstStandard));
    HandOffHost<LockBaton> fastest(road.scanners.portName(firstStandard + 1));
    HandOffHost<StandardBaton> plain(road.scanners.portName(firstStandard + 2));
    for (int round = 0; round < roundCount; ++round) {
        std::vector<double> libraryTimes;
        std::vector<double> fastestTimes;
        std::vector<double> plainTimes;
        for (int number = 0; number < commandsPerRound; ++number) {
            library.setSettings();
            libraryTimes.push_back(microseconds(performanceTime() - Time(answerRead)));
            fastestTimes.push_back(microseconds(fastest.command()));
            plainTimes.push_back(microseconds(plain.command()));
        }
        ours.push_back(median(libraryTimes));
        reference.push_back(median(fastestTimes));
        standard.push_back(median(plainTimes));
    }
    Row row = comparison("answer's last byte read to the caller, over two hand-offs by SRWLOCK",
                         ours, reference, "us");
    row.target = "<= 1.5";
    row.stretch = "<= 1.15";
    rows.push_back(row);
    rows.push_back(comparison("answer's last byte read to the caller, over two hand-offs by the "
                              "standard library",
                              ours, standard, "us"));
    return rows;
}

} // namespace ridge::bench
