#pragma once

#include <cstdint>
#include <vector>

namespace ridge::tool {

/// A copy of what the library shows for the length of a callback.
struct CapturedImage {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> bytes;
    std::uint8_t extraValue = 0;
    std::vector<std::uint8_t> trailer;
    bool flagA = false;
    bool flagB = false;
    bool flagC = false;
};

} // namespace ridge::tool
