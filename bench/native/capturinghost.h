#pragma once

#include "preparedscanner.h"
#include "ridge-sdk.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

namespace ridge::bench {

/// A host application that captures one image after the other. What fails is thrown.
class CapturingHost {
public:
    explicit CapturingHost(const PreparedScanner& scanner);
    ~CapturingHost();

    CapturingHost(const CapturingHost&) = delete;
    CapturingHost& operator=(const CapturingHost&) = delete;

    /// From the call that starts the capture until the library is ready for the next.
    void capture();

    [[nodiscard]] ridgeDeviceContext* context() const { return handle; }

private:
    void require(std::int32_t status) const;
    static void onError(std::int32_t status, const char* message, void* userContext);
    static void onCapture(const ridgeCaptureResult* result, void* userContext);
    /// The message of what failed; empty after a success.
    void finish(const std::string& message);

    ridgeDeviceContext* handle;
    std::mutex mutex;
    std::condition_variable finished;
    bool isFinished = false;
    std::string failure;
};

} // namespace ridge::bench
