#pragma once

#include <cstddef>
#include <cstdint>

namespace ridge::bench {

/// Reads each of the bytes, in vectors, and does as little with them as a reading can: what no
/// function that looks at all of them is faster than.
std::uint8_t readInVectors(const std::uint8_t* bytes, std::size_t count);

} // namespace ridge::bench
