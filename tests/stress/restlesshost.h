#pragma once

#include "ridge-sdk.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <random>
#include <string>
#include <thread>

namespace ridge::test {

/// A host application that starts captures, host-assisted captures and streams and ends them at
/// random moments in random ways, while another of its threads gives verdicts.
class RestlessHost {
public:
    RestlessHost(std::string portName, std::uint32_t seed);
    ~RestlessHost();

    RestlessHost(const RestlessHost&) = delete;
    RestlessHost& operator=(const RestlessHost&) = delete;

    /// Connects if need be, starts something and ends it. Returns what went wrong, empty if
    /// nothing.
    std::string startAndEnd();

    /// A whole capture from a new connection on. Returns the size of its image.
    std::uint32_t captureOnce();

    [[nodiscard]] std::uint64_t callbacks() const { return calls; }

private:
    static void onError(std::int32_t status, const char* message, void* userContext);
    static void onCapture(const ridgeCaptureResult* result, void* userContext);

    void heard();
    void connect();
    void start();
    void letSomeTimePass();
    void end();
    void giveVerdicts();
    void allowVerdicts(bool allowed);
    std::uint32_t random(std::uint32_t choices);

    const std::string port;
    std::mt19937 generator;
    ridgeDeviceContext* context = nullptr;
    bool connected = false;
    /// What went wrong; written by the thread that sees it.
    std::string complaint;

    std::atomic<std::uint64_t> calls{0};
    /// Whether a callback may come.
    std::atomic<bool> listening{false};
    std::atomic<bool> heardUnasked{false};
    std::atomic<std::uint32_t> lastImageSize{0};

    /// Guards `receivedImages` and `receivedFailures`.
    std::mutex mutex;
    std::condition_variable changed;
    std::uint64_t receivedImages = 0;
    std::string receivedFailures;

    /// Guards the three below, and is held during a verdict.
    std::mutex verdictMutex;
    std::condition_variable verdictChanged;
    bool verdictsAllowed = false;
    std::uint64_t imagesToJudge = 0;
    bool finished = false;
    std::thread judge;
};

} // namespace ridge::test
