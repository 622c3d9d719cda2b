#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ridge::bench {

/// What a host writes to the line, as frames.
struct Requests {
    std::vector<std::uint8_t> deviceInfo;
    std::vector<std::uint8_t> deviceSettings;
    std::vector<std::uint8_t> setSettings;
    std::vector<std::uint8_t> startCapture;
    std::vector<std::uint8_t> captureData;
    std::vector<std::uint8_t> acknowledgement;

    Requests();
};

/// Frames that end in the bytes.
std::size_t countFrames(const std::uint8_t* bytes, std::size_t size);

} // namespace ridge::bench
