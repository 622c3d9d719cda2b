#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ridge {

/// The hexadecimal number in the four characters after the first occurrence of a prefix in a
/// device's instance identifier, such as 0x1209 after "VID_" in USB\VID_1209&PID_0001\A1B2C3.
[[nodiscard]] std::optional<std::uint16_t> hexadecimalAfter(std::string_view identifier,
                                                            std::string_view prefix);

/// The USB serial number that an instance identifier carries; empty when it carries none, as with
/// names that the system has generated.
[[nodiscard]] std::string serialNumberIn(std::string_view identifier);

} // namespace ridge
