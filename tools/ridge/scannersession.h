#pragma once

#include "operationinbox.h"
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

    bool operator==(const ScannerInformation&) const = default;
};

/// The subject of a signing request, in UTF-8; what is left out is empty.
struct CsrSubject {
    std::string commonName;
    std::string country;
    std::string locality;
    std::string organization;
    std::string organizationalUnit;
    std::string stateOrProvince;
};

/// The library's session with one scanner, open as long as the object lives. A failure is thrown as
/// CommandError. To be used, and destroyed, on one thread.
///
/// An operation reports to an inbox, which must outlive the session: its end stops what runs. The
/// block of an operation is empty or has 256 bytes.
class ScannerSession {
public:
    explicit ScannerSession(const ChosenScanner& scanner);

    [[nodiscard]] bool isConnected() const;
    /// Ends the session before the object's end: stops what runs and closes the port.
    void disconnect();

    [[nodiscard]] ScannerInformation information();
    /// As they were when the session was opened.
    [[nodiscard]] ridgeDeviceSettings settings();
    void writeSettings(const ridgeDeviceSettings& settings);

    void startCapture(const ridgeCaptureParameters& parameters,
                      const std::vector<std::uint8_t>& block, OperationInbox& inbox);
    void startHostAssistedCapture(const ridgeCaptureParameters& parameters,
                                  const std::vector<std::uint8_t>& block, OperationInbox& inbox);
    void startStream(const std::vector<std::uint8_t>& block, OperationInbox& inbox);
    /// The verdict on the image that a host-assisted capture showed last.
    void judge(bool accepted);
    /// Ends a running operation, but for a signing request, and waits for its end.
    void stop();

    using Key = std::array<std::uint8_t, 32>;

    void setKey(const Key& key);
    void clearKey();
    /// Empty when the scanner has none.
    [[nodiscard]] std::vector<std::uint8_t> certificate();
    void setCertificate(const std::vector<std::uint8_t>& certificate);
    void clearCertificate();
    /// Reports to the inbox. The session must not end before it has.
    void createCsr(const CsrSubject& subject, OperationInbox& inbox);

private:
    void check(std::int32_t status, const std::string& activity) const;

    struct Free {
        void operator()(ridgeDeviceContext* context) const { ridgeFreeDeviceContext(context); }
    };
    std::unique_ptr<ridgeDeviceContext, Free> context;
};

} // namespace ridge::tool
