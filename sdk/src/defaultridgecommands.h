#pragma once

#include "packethandler.h"
#include "ridgecommands.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ridge {

/// Runs the commands over a packet handler, one exchange at a time, on the caller's thread.
class DefaultRidgeCommands final : public RidgeCommands {
public:
    /// The packet handler is borrowed and must outlive the commands.
    explicit DefaultRidgeCommands(PacketHandler* packetHandler);

    DeviceInfo getDeviceInfo() override;
    DeviceSettings getDeviceSettings() override;
    void startCapture(std::uint8_t mode, std::uint32_t timeoutMs, std::int32_t parameter,
                      bool eventsWanted, const std::vector<std::uint8_t>& block) override;
    void stopCapture() override;
    std::vector<std::uint8_t> getCaptureData(bool poll, bool& captureTimedOut,
                                             bool& captureEvent) override;
    void clearKey() override;
    CaptureMask startHostAssistedCapture(std::uint8_t mode, std::uint32_t parameter,
                                         const std::vector<std::uint8_t>& block) override;
    void sendHostAssistedCaptureResult(const CaptureMask& mask, bool accepted) override;
    void ping() override;
    void certClear() override;
    std::vector<std::uint8_t> certGet() override;
    void certSet(const std::uint8_t* certificate, std::int32_t size) override;
    std::vector<std::uint8_t> createCsr(const CsrName& name) override;
    void setKey(const std::uint8_t* key) override;
    void setSettings(const DeviceSettings& settings) override;
    void startStream(const std::vector<std::uint8_t>& parameters) override;
    std::vector<std::uint8_t> getStreamData(bool poll) override;

private:
    struct Command;

    /// What the scanner answers to the question for data.
    struct PollAnswer {
        bool ready = false;
        std::uint8_t errorCode = 0;
        std::string errorText;
    };

    std::vector<std::uint8_t> exchange(const Command& command,
                                       const std::vector<std::uint8_t>& payload = {});
    std::unique_ptr<Packet> request(const Command& command,
                                    const std::vector<std::uint8_t>& payload);
    PollAnswer askForData(const Command& command);
    std::vector<std::uint8_t> receiveData(const Command& command, const char* timeoutMessage);

    PacketHandler* packetHandler;
};

} // namespace ridge
