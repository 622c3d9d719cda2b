#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ridge::test {

struct Picture {
    int width = 0;
    int height = 0;
    /// Channels in the file.
    int channels = 0;
    std::vector<std::uint8_t> pixels;
};

/// Fails the running test when the bytes are not a PNG file.
Picture readPng(const std::string& file);

} // namespace ridge::test
