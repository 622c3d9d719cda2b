#pragma once

#include <string>

namespace ridge::tool {

/// The name under which the system opens a port: COM10 and above need a prefix, which is added
/// where it is missing. Any other name stays as it is.
[[nodiscard]] std::string systemPortName(const std::string& name);

} // namespace ridge::tool
