#pragma once

#include <cstdint>
#include <span>

namespace ridge {

/// Fills the buffer from a generator that is freshly seeded from the system's random source. The
/// value 255 never occurs: scanners in the field know the masks that way.
void fillRandom(std::span<std::uint8_t> bytes);

} // namespace ridge
