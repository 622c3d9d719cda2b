#pragma once

#include <cstdint>
#include <string>

namespace ridge {

/// The operating system's text for one of its error codes as it stands, line break included, or
/// "Error %d." with the code when it has none.
std::string systemErrorText(std::uint32_t errorCode);

} // namespace ridge
