#pragma once

#include <cstdint>
#include <iomanip>
#include <sstream>
#include <string>

namespace ridge::tool {

/// "0x1209"
[[nodiscard]] inline std::string hexadecimal(std::uint16_t number) {
    std::ostringstream text;
    text << "0x" << std::hex << std::uppercase << std::setw(4) << std::setfill('0') << number;
    return text.str();
}

} // namespace ridge::tool
