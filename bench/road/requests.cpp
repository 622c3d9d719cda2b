#include "requests.h"

#include "command.h"
#include "lineframing.h"
#include "packet.h"

#include <algorithm>

namespace ridge::bench {
namespace {

using simulator::Command;

std::vector<std::uint8_t> frame(std::uint32_t type, Command command,
                                const std::vector<std::uint8_t>& payload = {}) {
    return simulator::encodeFrame(
        Packet(type, static_cast<std::uint8_t>(command), payload.data(), payload.size())
            .serialize());
}

} // namespace

Requests::Requests()
    : deviceInfo(frame(packetTypeRequest, Command::getDeviceInfo)),
      deviceSettings(frame(packetTypeRequest, Command::getDeviceSettings)),
      setSettings(frame(packetTypeRequest, Command::setSettings, {0, 0, 0, 0, 0})),
      // Any finger, 10 seconds, option 1.
      startCapture(
          frame(packetTypeRequest, Command::startCapture, {0, 0, 0, 0x27, 0x10, 0, 0, 0, 1})),
      captureData(frame(packetTypeRequest, Command::getCaptureData)),
      acknowledgement(frame(packetTypeResponse, Command::getCaptureData)) {}

std::size_t countFrames(const std::uint8_t* bytes, std::size_t size) {
    return static_cast<std::size_t>(std::count(bytes, bytes + size, simulator::frameEnd));
}

} // namespace ridge::bench
