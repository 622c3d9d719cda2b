#pragma once

#include "captureinbox.h"
#include "scannerchoice.h"

#include <ridge-sdk.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ridge::tool {

struct ScannerInformation {
    /// In the order of their numbers.
    std::array<std::string, 7> texts;
    std::uint16_t value1 = 0;
    std::uint16_t value2 = 0;
    std::uint32_t features = 0;
};

/// The library's session with one scanner, open as long as the object lives. A failure is thrown as
/// CommandError. To be used, and destroyed, on one thread.
///
/// An operation reports to an inbox, which must outlive the session: its end stops what runs. The
/// block of an operation is empty or has 256 bytes.
class ScannerSession {
public:
    explicit ScannerSession(const ChosenScanner& scanner);

    [[nodiscard]] ScannerInformation information();
    /// As they were when the session was opened.
    [[nodiscard]] ridgeDeviceSettings settings();
    void writeSettings(const ridgeDeviceSettings& settings);

    void startCapture(const ridgeCaptureParameters& parameters,
                      const std::vector<std::uint8_t>& block, CaptureInbox& inbox);
    void startHostAssistedCapture(const ridgeCaptureParameters& parameters,
                                  const std::vector<std::uint8_t>& block, CaptureInbox& inbox);
    void startStream(const std::vector<std::uint8_t>& block, CaptureInbox& inbox);
    /// The verdict on the image that a host-assisted capture showed last.
    void judge(bool accepted);
    /// Ends a running operation and waits for its end.
    void stop();

private:
    void check(std::int32_t status, const std::string& activity) const;

    struct Free {
        void operator()(ridgeDeviceContext* context) const { ridgeFreeDeviceContext(context); }
    };
    std::unique_ptr<ridgeDeviceContext, Free> context;
};

} // namespace ridge::tool
