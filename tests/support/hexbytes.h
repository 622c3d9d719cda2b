#pragma once

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace ridge::test {

/// The bytes of a text such as "01 7E 02": two hex digits each, with or without spaces.
inline std::vector<std::uint8_t> hexBytes(std::string_view text) {
    const auto digit = [](char character) -> unsigned {
        constexpr std::string_view digits = "0123456789ABCDEF";
        const std::size_t value = digits.find(character);
        if (value == std::string_view::npos) {
            throw std::invalid_argument("not a hex digit");
        }
        return static_cast<unsigned>(value);
    };
    std::vector<std::uint8_t> bytes;
    bool halfRead = false;
    for (const char character : text) {
        if (character == ' ') {
            continue;
        }
        if (halfRead) {
            bytes.back() = static_cast<std::uint8_t>(bytes.back() * 16U + digit(character));
        } else {
            bytes.push_back(static_cast<std::uint8_t>(digit(character)));
        }
        halfRead = !halfRead;
    }
    if (halfRead) {
        throw std::invalid_argument("half a byte");
    }
    return bytes;
}

/// 0, 1, 2, ... modulo 256.
inline std::vector<std::uint8_t> ramp(std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    return bytes;
}

} // namespace ridge::test
