#pragma once

#include "ridge-sdk.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
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

    /// The images of the operations that startAndEnd() has ended, and the verdicts that another
    /// thread gave during the host-assisted ones. To be asked between operations.
    struct Met {
        std::uint64_t captured = 0;
        std::uint64_t assisted = 0;
        std::uint64_t streamed = 0;
        std::uint64_t verdicts = 0;
    };
    [[nodiscard]] Met met() const;

private:
    enum class Operation { captureOnce, capture, hostAssistedCapture, stream };

    static void onError(std::int32_t status, const char* message, void* userContext);
    static void onCapture(const ridgeCaptureResult* result, void* userContext);

    [[nodiscard]] std::uint64_t imagesOf(Operation kind) const {
        return images[static_cast<std::size_t>(kind)];
    }
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
    std::atomic<Operation> operation{Operation::captureOnce};
    /// Of each kind of operation.
    std::array<std::atomic<std::uint64_t>, 4> images{};
    std::atomic<std::uint64_t> verdicts{0};
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
