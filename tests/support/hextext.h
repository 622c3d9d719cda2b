#pragma once

#include <cstdint>
#include <string>

namespace ridge::test {

/// Bytes as a text such as "01 7E 02".
template <typename ByteRange>
std::string hexText(const ByteRange& bytes) {
    constexpr const char* digits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) {
            text += ' ';
        }
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

} // namespace ridge::test
