#pragma once

#include "performanceclock.h"
#include "ridge-sdk.h"
#include "scopedhandle.h"

#include <memory>
#include <string>

namespace ridge::bench {

/// A host that uses the library. Its failures are thrown as std::runtime_error.
class LibraryHost {
public:
    LibraryHost();
    explicit LibraryHost(const std::string& portName);
    ~LibraryHost();

    LibraryHost(const LibraryHost&) = delete;
    LibraryHost& operator=(const LibraryHost&) = delete;

    void connect(const std::string& portName);
    void disconnect();
    /// One command and its answer.
    void setSettings();
    /// Fetches an image; the time until the library handed it over. The end of a capture before is
    /// awaited first, and is not part of it.
    Time capture();

private:
    static void onError(std::int32_t status, const char* message, void* userContext);
    static void onCapture(const ridgeCaptureResult* result, void* userContext);

    void require(std::int32_t status) const;

    ridgeDeviceContext* context;
    simulator::ScopedHandle captured;
    Time capturedAt{0};
    std::string failure;
};

} // namespace ridge::bench
