#pragma once

#include "blocklayout.h"
#include "csrsubject.h"
#include "faults.h"
#include "fingerprint.h"
#include "fingertimeline.h"
#include "greyimage.h"
#include "simulatedtime.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace ridge::simulator {

/// What the scanner says about itself. The seventh text is the state of key and certificate.
struct DeviceIdentity {
    std::array<std::string, 6> texts{"Ridge Scanner", "RS-000123", "2.4.1", "C",
                                     "1.0.2",         "2024-03"};
    /// Five bits.
    std::uint32_t features = 0x1F;
};

struct DeviceSettings {
    /// Clockwise quarter turns of every image.
    std::uint8_t rotation = 0;
    std::uint32_t flags = 0;

    bool operator==(const DeviceSettings&) const = default;
};

/// Makes a certificate signing request that fits into one packet.
using CreateCsr = std::function<std::vector<std::uint8_t>(const CsrSubject&)>;

struct ScannerConfig {
    DeviceIdentity identity;
    DeviceSettings settings;
    FingerBehaviour finger;
    /// Also gives the sensor's size.
    FingerprintOptions firstFinger;
    /// Used instead of synthetic fingers when there are any.
    std::vector<GreyImage> images;
    CaptureMarks marks;
    /// Preview images are smaller than captured ones by this factor.
    std::uint32_t streamReduction = 2;
    /// From one preview image to the next.
    Time streamInterval = std::chrono::milliseconds(100);
    /// How long a question for data is held back while there are none: this paces the host.
    Time pollHold = std::chrono::milliseconds(50);
    /// Bytes of an image block in one data packet.
    std::size_t chunkSize = 10000;
    std::uint32_t maskSeed = 1;
    /// Without it CREATE CSR is not supported. The key pair is its own: the scanner does not show
    /// it. What it throws as std::exception makes the scanner refuse the command.
    CreateCsr createCsr;
    FaultSet faults;
};

} // namespace ridge::simulator
