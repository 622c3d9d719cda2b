#pragma once

#include <cstdint>
#include <string>

namespace ridge {

/// What the scanner says about itself; the meaning of the fields is the scanner's.
struct DeviceInfo {
    std::string text1;
    std::string text2;
    std::string text3;
    std::string text4;
    std::string text5;
    std::string text6;
    std::string text7;
    std::uint16_t value1 = 0;
    std::uint16_t value2 = 0;
    /// Bits 16 to 20 are the feature bits.
    std::uint32_t flags = 0;
};

/// The scanner's settings.
struct DeviceSettings {
    /// Set by the scanner; the host only carries it along.
    static constexpr std::uint32_t deviceFlag = 0x1;
    /// The one flag that the caller reads and writes.
    static constexpr std::uint32_t optionFlag = 0x2;

    std::uint8_t rotation = 0;
    std::uint32_t flags = 0;
};

} // namespace ridge
