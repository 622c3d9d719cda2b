#pragma once

#include <cstdint>

namespace ridge {

/// The operating system's identifier of the calling thread.
std::uint32_t currentThreadId();

} // namespace ridge
