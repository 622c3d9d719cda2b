#pragma once

#include "csrname.h"
#include "deviceinfo.h"

#include <array>
#include <cstdint>
#include <vector>

namespace ridge {

/// What hides the images of a host-assisted capture on the line.
using CaptureMask = std::array<std::uint8_t, 64>;

/// The scanner's command set. Each operation sends one command, blocks for at most the time-outs
/// of its answers, and throws RidgeException when it fails.
class RidgeCommands {
public:
    virtual ~RidgeCommands() = default;
    virtual DeviceInfo getDeviceInfo() = 0;
    virtual DeviceSettings getDeviceSettings() = 0;
    /// `block` is empty or 256 bytes.
    virtual void startCapture(std::uint8_t mode, std::uint32_t timeoutMs, std::int32_t parameter,
                              bool eventsWanted, const std::vector<std::uint8_t>& block) = 0;
    virtual void stopCapture() = 0;
    /// One chunk of a capture block; empty when the scanner has nothing or reports one of the two
    /// indications. `poll` asks first; without it the next chunk is only waited for.
    virtual std::vector<std::uint8_t> getCaptureData(bool poll, bool& captureTimedOut,
                                                     bool& captureEvent) = 0;
    virtual void clearKey() = 0;
    virtual CaptureMask startHostAssistedCapture(std::uint8_t mode, std::uint32_t parameter,
                                                 const std::vector<std::uint8_t>& block) = 0;
    virtual void sendHostAssistedCaptureResult(const CaptureMask& mask, bool accepted) = 0;
    virtual void ping() = 0;
    virtual void certClear() = 0;
    virtual std::vector<std::uint8_t> certGet() = 0;
    virtual void certSet(const std::uint8_t* certificate, std::int32_t size) = 0;
    virtual std::vector<std::uint8_t> createCsr(const CsrName& name) = 0;
    /// `key` points at 32 bytes.
    virtual void setKey(const std::uint8_t* key) = 0;
    virtual void setSettings(const DeviceSettings& settings) = 0;
    virtual void startStream(const std::vector<std::uint8_t>& parameters) = 0;
    /// One chunk of a stream block; empty when the scanner has nothing.
    virtual std::vector<std::uint8_t> getStreamData(bool poll) = 0;
};

} // namespace ridge
