#pragma once

#include <cstdint>
#include <span>

namespace ridge {

/// Fills the buffer from a generator that is freshly seeded from the system's random source. The
/// value 255 never occurs, on purpose.
void fillRandom(std::span<std::uint8_t> bytes);

} // namespace ridge
