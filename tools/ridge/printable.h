#pragma once

#include <algorithm>
#include <string>

namespace ridge::tool {

/// A text from a device may hold what a terminal would obey.
[[nodiscard]] inline std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char character) {
            const auto value = static_cast<unsigned char>(character);
            return value < 0x20 || value == 0x7F;
        },
        '?');
    return text;
}

} // namespace ridge::tool
