#pragma once

#include <cstddef>
#include <cstdint>

namespace ridge::bench {

/// The two's complement of the bytes' sum, one byte after the other.
std::uint8_t textbookChecksum(const std::uint8_t* bytes, std::size_t count);

} // namespace ridge::bench
