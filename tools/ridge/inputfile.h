#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace ridge::tool {

/// Reads the 256 bytes that a capture hands to the scanner; without a file there are none. Throws
/// UsageError when the file cannot be read or has another size.
[[nodiscard]] std::vector<std::uint8_t> readBlock(const std::optional<std::filesystem::path>& file);

} // namespace ridge::tool
